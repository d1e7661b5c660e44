#include "store/plan/kept_rows.hpp"

#include <algorithm>
#include <cstring>

namespace store {

void kept_rows::add(row_block rows) {
  for (size_t c = 0; c < cells.size(); ++c)
    for (const cell &given : rows[c])
      cells[c].push_back(kept(given));
}

void kept_rows::add(std::span<const cell> row) {
  for (size_t c = 0; c < cells.size(); ++c)
    cells[c].push_back(kept(row[c]));
}

cell kept_rows::kept(const cell &c) {
  const auto *text = std::get_if<std::string_view>(&c);
  if (text == nullptr || text->empty())
    return c;
  constexpr size_t block_bytes = 65536; // as many as the longest text of a dictionary, and one
  if (text->size() > free) {
    free = std::max(block_bytes, text->size());
    blocks.push_back(std::make_unique_for_overwrite<char[]>(free));
  }
  // A block is filled from its end, so that what is free of it says where to go on.
  free -= text->size();
  char *to = blocks.back().get() + free;
  std::memcpy(to, text->data(), text->size());
  return std::string_view(to, text->size());
}

} // namespace store
