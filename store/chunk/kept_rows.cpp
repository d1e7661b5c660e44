#include "store/chunk/kept_rows.hpp"

#include <cstring>
#include <new>
#include <numeric>
#include <utility>

#include "store/chunk/fast_loop.hpp"
#include "store/chunk/large_memory.hpp"
#include "store/error.hpp"

namespace store::exec {

void *kept_column::grown(size_t rows, size_t value_bytes) {
  const size_t used = rows_ * value_bytes;
  const size_t wanted = used + rows * value_bytes + vorn_host::cache_line;
  if (wanted > room_) {
    const size_t room = std::max(wanted, room_ * 2);
    void *moved = std::realloc(memory_.get(), room);
    if (moved == nullptr)
      throw std::bad_alloc();
    static_cast<void>(memory_.release());
    memory_.reset(moved);
    prefer_large_pages(moved, room);
    room_ = room;
  }
  rows_ += rows;
  if (!validity_.empty())
    validity_.resize(words_of(rows_), ~uint64_t{0});
  return static_cast<char *>(memory_.get()) + used;
}

void kept_column::append_validity(const uint64_t *valid, size_t rows) {
  validity_.resize(words_of(rows_), ~uint64_t{0});
  const size_t first = rows_ - rows;
  for (size_t row = 0; row < rows; ++row)
    if (valid == nullptr || (valid[row / 64] >> (row % 64) & 1) == 0)
      set_null(validity_, first + row);
}

void kept_column::append(const vector &values) {
  with_type(form_, [&]<class T>(T) {
    const std::span<const T> from = values.values<T>();
    const std::span<T> out = append_raw<T>(from.size());
    if constexpr (std::is_same_v<T, std::string_view>) {
      size_t bytes = 0;
      for (const std::string_view text : from)
        bytes += text.size();
      char *at = texts_.emplace_back(std::make_unique_for_overwrite<char[]>(bytes)).get();
      for (size_t row = 0; row < from.size(); ++row) {
        if (!from[row].empty())
          std::memcpy(at, from[row].data(), from[row].size());
        out[row] = {at, from[row].size()};
        at += from[row].size();
      }
    } else {
      if (!from.empty())
        std::memcpy(out.data(), from.data(), from.size_bytes());
    }
  });
  if (values.validity != nullptr)
    append_validity(values.validity, values.rows);
}

void kept_column::append_nulls(size_t rows) {
  with_type(form_, [&]<class T>(T) {
    for (T &value : append_raw<T>(rows))
      value = T{};
  });
  append_validity(nullptr, rows);
}

vector kept_column::values() const {
  vector out;
  out.form = form_;
  out.rows = static_cast<uint32_t>(rows_);
  out.data = memory_.get();
  out.validity = validity_.empty() ? nullptr : validity_.data();
  return out;
}

kept_rows::kept_rows(const std::vector<layout> &columns, std::vector<bool> needed) : needed_(std::move(needed)) {
  for (const layout &column : columns)
    columns_.emplace_back(column.form);
}

void kept_rows::append(chunk &rows) {
  if (rows.rows() > uint64_t{no_row} - rows_)
    throw error("an operator keeps at most 2^32 - 1 rows");
  for (size_t c = 0; c < columns_.size(); ++c)
    if (needed_[c])
      columns_[c].append(rows.column(c));
  rows_ += rows.rows();
}

void kept_rows::append(const kept_rows &other, size_t first, size_t rows) {
  if (rows > uint64_t{no_row} - rows_)
    throw error("an operator keeps at most 2^32 - 1 rows");
  arena memory;
  const std::span<const uint32_t> numbers = consecutive(first, rows, memory);
  for (size_t c = 0; c < columns_.size(); ++c)
    if (needed_[c])
      columns_[c].append(gathered(other.values(c), numbers, memory));
  rows_ += rows;
}

vector kept_rows::read(size_t column, std::span<const uint32_t> positions, arena &memory) {
  return gathered(values(column), positions, memory, true);
}

row_collector::row_collector(const std::vector<layout> &columns, std::vector<bool> needed, size_t threads)
    : columns_(columns), needed_(std::move(needed)), segments_(threads) {
  for (size_t thread = 0; thread < threads; ++thread)
    of_threads_.emplace_back(columns_, needed_);
}

void row_collector::append(size_t thread, size_t morsel, chunk &rows) {
  std::vector<segment> &segments = segments_[thread];
  if (segments.empty() || segments.back().morsel != morsel)
    segments.push_back({morsel, thread, of_threads_[thread].rows(), 0});
  segments.back().rows += rows.rows();
  of_threads_[thread].append(rows);
}

kept_rows row_collector::finish() {
  std::vector<segment> all;
  size_t filled = 0;
  for (const std::vector<segment> &some : segments_) {
    all.insert(all.end(), some.begin(), some.end());
    filled += some.empty() ? 0 : 1;
  }
  // A thread has its morsels in ascending order.
  if (filled <= 1)
    return std::move(of_threads_[all.empty() ? 0 : all.front().thread]);
  std::sort(all.begin(), all.end(), [](const segment &a, const segment &b) { return a.morsel < b.morsel; });
  kept_rows out(columns_, needed_);
  for (const segment &s : all)
    out.append(of_threads_[s.thread], s.first, s.rows);
  return out;
}

std::span<const uint32_t> consecutive(size_t first, size_t rows, arena &memory) {
  const std::span<uint32_t> out = memory.take<uint32_t>(rows);
  fast_loop([=] { std::iota(out.begin(), out.end(), static_cast<uint32_t>(first)); });
  return out;
}

} // namespace store::exec
