// Translate tables.
#include "encode/output.hpp"

namespace {

using namespace vornenc;

constexpr bool is_entry_width(uint32_t width) {
  return width == 1 || width == 4 || width == 8 || width == 16 || width == 32;
}

} // namespace

size_t vornenc_translate_bytes(uint32_t nkeys, uint32_t width) {
  return is_entry_width(width) ? (size_t{nkeys} * width + 63) / 64 * 8 : 0;
}

uint32_t vornenc_pack_translate(void *table, size_t table_bytes, const uint32_t *entries, uint32_t nkeys,
                                uint32_t width) {
  if (!is_entry_width(width))
    return VORNENC_BAD_WIDTH;
  const size_t bytes = vornenc_translate_bytes(nkeys, width);
  if (table_bytes < bytes)
    return VORNENC_NO_ROOM;
  const auto none = static_cast<uint32_t>(largest(width));
  for (uint32_t key = 0; key < nkeys; ++key)
    if (entries[key] != VORNENC_NO_ENTRY && entries[key] >= none)
      return VORNENC_TOO_WIDE;

  // Entry 0 takes the low bits of a word, for all widths.
  auto *const words = static_cast<uint64_t *>(table);
  std::memset(table, 0, bytes);
  for (uint32_t key = 0; key < nkeys; ++key) {
    const uint64_t bit = uint64_t{key} * width;
    words[bit / 64] |= uint64_t{entries[key] & none} << bit % 64;
  }
  return VORNENC_DONE;
}
