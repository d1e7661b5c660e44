#include "store/encode/dictionary.hpp"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "store/encode/big_endian.hpp"
#include "store/encode/encoded.hpp"

namespace store {

namespace {

constexpr uint64_t largest = std::numeric_limits<uint32_t>::max();

} // namespace

key_symbol::key_symbol(int64_t key) : number_(big_endian(vornenc_key_of_int64(key, 64))) {}

// The empty text is the smallest.
dictionary::dictionary(parts made_before)
    : made_(std::move(made_before)), has_empty_text_(size() != 0 && symbol(first_code()).empty()) {}

dictionary dictionary::of(std::span<const std::string_view> symbols, bool with_null) {
  std::vector<vornenc_text> texts;
  texts.reserve(symbols.size() + 1);
  if (with_null)
    texts.push_back({nullptr, 0});
  for (std::string_view symbol : symbols)
    texts.push_back({symbol.data(), static_cast<uint32_t>(symbol.size())});
  const auto count = static_cast<uint32_t>(texts.size());
  parts out;
  vorn_host::aligned_vector<char> &bytes = out.symbols.made();
  vorn_host::aligned_vector<uint32_t> &cla = out.cla.made();
  bytes.resize(vornenc_symbols_bytes(texts.data(), nullptr, count));
  vornenc_dictionary packed;
  const auto pack = [&] {
    return vornenc_pack_symbols(&packed, bytes.data(), bytes.size(), cla.empty() ? nullptr : cla.data(),
                                cla.size() * sizeof(uint32_t), texts.data(), nullptr, count);
  };
  // NULL has a length of its own.
  uint32_t result = with_null ? uint32_t{VORNENC_NOT_ONE_LENGTH} : pack();
  if (result == VORNENC_NOT_ONE_LENGTH) {
    cla.resize(size_t{count} + 1);
    result = pack();
  }
  if (result == VORNENC_TOO_MANY)
    throw error("the distinct values of a column take more than 4 GB");
  expect_encoded(result);
  out.one_length = packed.one_length;
  out.has_null = with_null;
  out.codes = texts.size();
  return dictionary(std::move(out));
}

dictionary dictionary::of(std::span<const int64_t> keys, bool with_null) {
  const std::vector<key_symbol> symbols(keys.begin(), keys.end());
  std::vector<std::string_view> bytes;
  bytes.reserve(symbols.size());
  for (const key_symbol &symbol : symbols)
    bytes.push_back(symbol.bytes());
  return of(bytes, with_null);
}

cell dictionary::value_of(std::string_view symbol, value_kind kind) {
  const column_type type{kind};
  if (type.is_bytes())
    return symbol;
  if (type.is_wide()) {
    wide_key key;
    std::memcpy(key.bytes.data(), symbol.data(), key.bytes.size());
    return key;
  }
  uint64_t number;
  std::memcpy(&number, symbol.data(), sizeof number);
  return vornenc_int64_of_key(big_endian(number), 64);
}

cell dictionary::value_of(uint64_t code, value_kind kind) const { return value_of(symbol(code), kind); }

std::string_view dictionary::symbol(uint64_t code) const {
  const auto &[symbols, cla, one_length, with_null, count] = made_;
  const uint64_t length = big_endian(one_length);
  const uint64_t begin = cla.empty() ? code * length : big_endian(cla[code]);
  const uint64_t end = cla.empty() ? begin + length : big_endian(cla[code + 1]);
  return {symbols.data() + begin, end - begin};
}

vorn_enc_ctx dictionary::encoding(uint32_t width, uint32_t flags) const {
  const bool has_one_length = made_.cla.empty();
  vorn_enc_ctx out;
  vorn_build_encoding_type_dict(&out, width, made_.symbols.data(), &made_.one_length,
                                has_one_length ? nullptr : made_.cla.data(), static_cast<uint32_t>(codes()),
                                has_one_length ? VORN_DICT_ONE_LENGTH : VORN_DICT_CLA, flags);
  return out;
}

namespace {

uint32_t hash_of(std::string_view text) { return static_cast<uint32_t>(vornenc_hash(text.data(), text.size(), 0)); }
uint32_t hash_of(int64_t key) { return static_cast<uint32_t>(vornenc_hash(&key, sizeof key, 0)); }

// The first bytes of values.  They decide the order of most values.
int64_t first_part(int64_t key) { return key; }
uint64_t first_part(std::string_view text) {
  uint64_t out = 0;
  if (!text.empty())
    std::memcpy(&out, text.data(), std::min(sizeof out, text.size()));
  return big_endian(out);
}

} // namespace

template <class Key>
uint32_t distinct_values<Key>::number_of(view key) {
  const uint32_t hash = hash_of(key);
  size_t place = place_of(hash);
  for (; slots_[place].number != 0; place = (place + 1) & (slots_.size() - 1))
    if (slots_[place].hash == hash && values_[slots_[place].number - 1] == key)
      return slots_[place].number;
  if (values_.size() == largest)
    throw error("a column has more than 2^32 distinct values");
  values_.push_back(kept(key));
  const auto number = static_cast<uint32_t>(values_.size());
  slots_[place] = {hash, number};
  if (2 * values_.size() > slots_.size())
    grow();
  return number;
}

template <class Key>
void distinct_values<Key>::grow() {
  const std::vector<slot> before = std::exchange(slots_, std::vector<slot>(4 * slots_.size()));
  for (const slot &taken : before)
    if (taken.number != 0) {
      size_t place = place_of(taken.hash);
      while (slots_[place].number != 0)
        place = (place + 1) & (slots_.size() - 1);
      slots_[place] = taken;
    }
}

template <class Key>
typename distinct_values<Key>::view distinct_values<Key>::kept(view key) {
  if constexpr (std::is_same_v<Key, std::string>) {
    constexpr size_t block_bytes = size_t{1} << 16;
    if (key.empty())
      return {};
    if (bytes_left_ < key.size()) {
      bytes_left_ = std::max(block_bytes, key.size());
      bytes_.push_back(std::make_unique_for_overwrite<char[]>(bytes_left_));
      block_end_ = bytes_.back().get() + bytes_left_;
    }
    char *const copy = block_end_ - bytes_left_;
    std::memcpy(copy, key.data(), key.size());
    bytes_left_ -= key.size();
    return {copy, key.size()};
  } else {
    return key;
  }
}

template <class Key>
dictionary distinct_values<Key>::finish(std::vector<uint32_t> &code_of) {
  struct entry {
    decltype(first_part(view())) first;
    uint32_t number;
  };
  std::vector<entry> order;
  order.reserve(values_.size());
  for (size_t number = 1; number <= values_.size(); ++number)
    order.push_back({first_part(values_[number - 1]), static_cast<uint32_t>(number)});
  std::sort(order.begin(), order.end(), [this](const entry &a, const entry &b) {
    return a.first != b.first ? a.first < b.first : values_[a.number - 1] < values_[b.number - 1];
  });

  code_of.resize(order.size() + 1);
  std::vector<view> ascending;
  ascending.reserve(order.size());
  for (const entry &e : order) {
    code_of[e.number] = static_cast<uint32_t>(ascending.size() + (nulls_ ? 1 : 0));
    ascending.push_back(values_[e.number - 1]);
  }
  dictionary out = dictionary::of(std::span<const view>(ascending), nulls_);
  *this = distinct_values();
  return out;
}

template class distinct_values<int64_t>;
template class distinct_values<std::string>;

} // namespace store
