#include "store/plan/kept_rows.hpp"

#include <algorithm>
#include <cstring>

namespace store {

void kept_rows::add(row_block rows) {
  for (size_t c = 0; c < cells_.size(); ++c)
    for (const cell &given : rows[c])
      cells_[c].push_back(kept(given));
}

void kept_rows::add(std::span<const cell> row) {
  for (size_t c = 0; c < cells_.size(); ++c)
    cells_[c].push_back(kept(row[c]));
}

cell kept_rows::kept(const cell &c) {
  const auto *text = std::get_if<std::string_view>(&c);
  if (text == nullptr || text->empty())
    return c;
  constexpr size_t block_bytes = 65536; // as many as the longest text of a dictionary, and one
  if (text->size() > free_) {
    free_ = std::max(block_bytes, text->size());
    blocks_.push_back(std::make_unique_for_overwrite<char[]>(free_));
  }
  // A block is filled from its end, so that what is free of it says where to go on.
  free_ -= text->size();
  char *to = blocks_.back().get() + free_;
  std::memcpy(to, text->data(), text->size());
  return std::string_view(to, text->size());
}

} // namespace store
