#include "store/dictionary.hpp"

#include <algorithm>
#include <limits>

#include "store/error.hpp"

namespace store {

namespace {

constexpr uint64_t largest = std::numeric_limits<uint32_t>::max();

// Binary search in anything that has a size and an operator [].
template <class Entries, class Key>
dictionary::place search(const Entries &entries, const Key &key) {
  uint64_t low = 0;
  uint64_t high = entries.size();
  while (low < high) {
    const uint64_t middle = low + (high - low) / 2;
    if (entries[middle] < key)
      low = middle + 1;
    else
      high = middle;
  }
  return {low, low < entries.size() && entries[low] == key};
}

} // namespace

void sorted_texts::append(std::string_view text) {
  if (characters.size() + text.size() > largest)
    throw error("the distinct texts of a column take more than 4 GB");
  characters += text;
  ends.push_back(static_cast<uint32_t>(characters.size()));
}

std::string_view sorted_texts::operator[](uint64_t position) const {
  const uint32_t begin = position == 0 ? 0 : ends[position - 1];
  return std::string_view(characters).substr(begin, ends[position] - begin);
}

dictionary::place dictionary::find(const value &v) const {
  if (const auto *texts = std::get_if<sorted_texts>(&entries))
    return search(*texts, std::string_view(std::get<std::string>(v)));
  return search(std::get<std::vector<int64_t>>(entries), std::get<int64_t>(v));
}

uint64_t dictionary::size() const {
  return std::visit([](const auto &e) -> uint64_t { return e.size(); }, entries);
}

uint64_t dictionary::bytes() const {
  if (const auto *texts = std::get_if<sorted_texts>(&entries))
    return texts->bytes();
  return size() * sizeof(int64_t);
}

template <class Key>
void dictionary_encoder<Key>::add(view key) {
  auto found = numbers.find(key);
  if (found == numbers.end()) {
    if (numbers.size() == largest)
      throw error("a column has more than 2^32 distinct values");
    found = numbers.emplace(Key(key), static_cast<uint32_t>(numbers.size() + 1)).first;
  }
  row_codes.push_back(found->second);
  if constexpr (std::is_same_v<Key, std::string>)
    characters += key.size();
}

template <class Key>
void dictionary_encoder<Key>::add_null() {
  nulls = true;
  row_codes.push_back(0);
}

template <class Key>
dictionary dictionary_encoder<Key>::finish() {
  using entry = typename decltype(numbers)::value_type;
  std::vector<const entry *> order;
  order.reserve(numbers.size());
  for (const entry &e : numbers)
    order.push_back(&e);
  std::sort(order.begin(), order.end(), [](const entry *a, const entry *b) { return a->first < b->first; });

  std::conditional_t<std::is_same_v<Key, std::string>, sorted_texts, std::vector<int64_t>> ascending;
  std::vector<uint32_t> code_of(order.size() + 1);
  uint32_t code = nulls ? 1 : 0;
  for (const entry *e : order) {
    if constexpr (std::is_same_v<Key, std::string>)
      ascending.append(e->first);
    else
      ascending.push_back(e->first);
    code_of[e->second] = code++;
  }
  numbers.clear();
  for (uint32_t &row : row_codes)
    row = code_of[row];
  return dictionary(std::move(ascending));
}

template class dictionary_encoder<int64_t>;
template class dictionary_encoder<std::string>;

} // namespace store
