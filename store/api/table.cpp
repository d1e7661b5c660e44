#include <vorn/store/table.hpp>

#include <algorithm>
#include <bit>
#include <functional>
#include <span>
#include <utility>

#include <fmt/format.h>

#include "store/api/access.hpp"

namespace vorn::store {

uint32_t row_group_rows() { return ::store::row_group_rows; }

uint64_t table::rows() const { return data_->rows; }
size_t table::row_groups() const { return (data_->rows + ::store::row_group_rows - 1) / ::store::row_group_rows; }

std::vector<column> table::columns() const {
  std::vector<column> out;
  for (size_t i = 0; i < data_->infos.size(); ++i)
    out.push_back(column(data_, i));
  return out;
}

column table::at(std::string_view name) const {
  const auto &infos = data_->infos;
  const auto *found = checked([&] { return &::store::find_column(infos, name); });
  return {data_, static_cast<size_t>(found - infos.data())};
}

selection::selection(const table &of) : state_(std::make_unique<state>()) {
  state_->rows = of.rows();
  state_->bits.resize(of.rows());
}

selection::selection(const selection &other) : state_(std::make_unique<state>(*other.state_)) {}
selection::selection(selection &&) noexcept = default;
selection &selection::operator=(selection &&) noexcept = default;
selection::~selection() = default;
selection &selection::operator=(const selection &other) {
  state_ = std::make_unique<state>(*other.state_);
  return *this;
}

uint64_t selection::rows() const { return state_->rows; }

uint64_t selection::count() const {
  uint64_t out = 0;
  for (const uint64_t word : state_->bits.words)
    out += static_cast<uint64_t>(std::popcount(word));
  return out;
}

bool selection::contains(uint64_t row) const { return row < state_->rows && state_->bits.contains(row); }

namespace {

// The words of a row group, const or not.
auto *words_of(auto &bits, size_t row_group) {
  if (row_group >= bits.row_group_counts.size())
    throw error(fmt::format("the table has {} row groups", bits.row_group_counts.size()));
  return bits.row_group_words(row_group);
}

template <class Combine>
void combine(vorn_host::aligned_vector<uint64_t> &words, const vorn_host::aligned_vector<uint64_t> &others,
             Combine combined) {
  if (words.size() != others.size())
    throw error("the selections are of tables with different numbers of rows");
  std::transform(words.begin(), words.end(), others.begin(), words.begin(), combined);
}

// Clears the bits after the last row.
void clear_tail(vorn_host::aligned_vector<uint64_t> &words, uint64_t rows) {
  if (rows % 64 != 0)
    words.back() &= (uint64_t{1} << (rows % 64)) - 1;
}

} // namespace

uint64_t *selection::words(size_t row_group) { return words_of(state_->bits, row_group); }
const uint64_t *selection::words(size_t row_group) const { return words_of(std::as_const(state_->bits), row_group); }

selection &selection::operator&=(const selection &other) {
  combine(state_->bits.words, other.state_->bits.words, std::bit_and<>());
  return *this;
}

selection &selection::operator|=(const selection &other) {
  combine(state_->bits.words, other.state_->bits.words, std::bit_or<>());
  return *this;
}

void selection::invert() {
  for (uint64_t &word : state_->bits.words)
    word = ~word;
  clear_tail(state_->bits.words, state_->rows);
}

::store::selection access::counted(const selection &of) {
  ::store::selection out = of.state_->bits;
  clear_tail(out.words, of.state_->rows);
  constexpr size_t group_words = ::store::row_group_rows / 64;
  for (size_t group = 0; group < out.row_group_counts.size(); ++group) {
    const std::span<const uint64_t> words = std::span(out.words).subspan(group * group_words);
    uint32_t count = 0;
    for (const uint64_t word : words.first(std::min(words.size(), group_words)))
      count += static_cast<uint32_t>(std::popcount(word));
    out.row_group_counts[group] = count;
  }
  out.count_rows();
  return out;
}

} // namespace vorn::store
