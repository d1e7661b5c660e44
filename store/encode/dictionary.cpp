#include "store/encode/dictionary.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <utility>

#include "store/encode/big_endian.hpp"
#include "store/error.hpp"

namespace store {

namespace {

constexpr uint64_t largest = std::numeric_limits<uint32_t>::max();
constexpr uint64_t sign_bit = uint64_t{1} << 63;

} // namespace

key_symbol::key_symbol(int64_t key) : number_(big_endian(static_cast<uint64_t>(key) ^ sign_bit)) {}

dictionary::dictionary(bool with_null) {
  made_.has_null = with_null;
  made_.codes = first_code();
  if (with_null)
    made_.cla.made() = {0, 0};
}

// The empty text is the smallest.
dictionary::dictionary(parts made_before)
    : made_(std::move(made_before)), has_empty_text_(size() != 0 && symbol(first_code()).empty()) {}

void dictionary::append(std::string_view symbol) {
  vorn_host::aligned_vector<char> &symbols = made_.symbols.made();
  vorn_host::aligned_vector<uint32_t> &cla = made_.cla.made();
  if (symbols.size() + symbol.size() > largest)
    throw error("the distinct values of a column take more than 4 GB");
  const auto length = static_cast<uint16_t>(symbol.size());
  if (codes() == 0) {
    made_.one_length = big_endian(length);
  } else if (cla.empty() && big_endian(length) != made_.one_length) {
    for (uint64_t code = 0; code <= codes(); ++code)
      cla.push_back(big_endian(static_cast<uint32_t>(code * big_endian(made_.one_length))));
  }
  symbols.insert(symbols.end(), symbol.begin(), symbol.end());
  if (!cla.empty())
    cla.push_back(big_endian(static_cast<uint32_t>(symbols.size())));
  has_empty_text_ = has_empty_text_ || symbol.empty();
  ++made_.codes;
}

void dictionary::append(int64_t key) { append(key_symbol(key).bytes()); }

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
  return static_cast<int64_t>(big_endian(number) ^ sign_bit);
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

template <class Key>
uint32_t distinct_values<Key>::number_of(view key) {
  auto found = numbers_.find(key);
  if (found == numbers_.end()) {
    if (numbers_.size() == largest)
      throw error("a column has more than 2^32 distinct values");
    found = numbers_.emplace(Key(key), static_cast<uint32_t>(numbers_.size() + 1)).first;
  }
  return found->second;
}

template <class Key>
dictionary distinct_values<Key>::finish(std::vector<uint32_t> &code_of) {
  using entry = typename decltype(numbers_)::value_type;
  std::vector<const entry *> order;
  order.reserve(numbers_.size());
  for (const entry &e : numbers_)
    order.push_back(&e);
  std::sort(order.begin(), order.end(), [](const entry *a, const entry *b) { return a->first < b->first; });

  dictionary ascending(nulls_);
  code_of.resize(order.size() + 1);
  for (const entry *e : order) {
    code_of[e->second] = static_cast<uint32_t>(ascending.codes());
    ascending.append(e->first);
  }
  numbers_.clear();
  return ascending;
}

template class distinct_values<int64_t>;
template class distinct_values<std::string>;

} // namespace store
