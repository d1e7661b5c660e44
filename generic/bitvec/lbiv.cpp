// The bit vectors of bytes: they begin at any address, and nothing behind their last byte is written.
#include "generic/bitvec/family.hpp"
#include "generic/engine.hpp"

namespace {

using unit = uint8_t;
using bitvec_loops = vorn::engine::bitvec_loops;
using ones_loop = vorn::engine::ones_loop;

constexpr uint64_t end_mark = UINT32_MAX;

// The bytes from `from` to the end of its aligned group of 8, in their places in the group.  Those behind the vector
// are on the same page and in the same cache line as those of the vector, and no bit of them is delivered.
[[gnu::no_sanitize_address]] uint64_t rest_of_group(const uint8_t *from, unsigned place) {
  uint64_t word = 0;
  for (; place < sizeof word; ++place)
    word |= uint64_t{*from++} << 8 * place;
  return word;
}

} // namespace

VORN_KERNELS_BEGIN

VORN_DEFINE_BIT_VECTORS(lbiv, void)

// The first word is an aligned group, which may begin before the vector: base is negative then.  The bytes before the
// start are not read.  An iterator started behind the last byte loads nothing and is at its end.
void vorn_lbiv_ictx_ini2_dydi(vorn_lbiv_ictx *ictx, const void *bv, uint64_t nbits, uint8_t mode, uint64_t start) {
  const auto *const from = static_cast<const uint8_t *>(bv) + start / 8;
  const auto place = static_cast<unsigned>(reinterpret_cast<uintptr_t>(from) % sizeof(uint64_t));
  ictx->vorn_lbiv_ictx_next = reinterpret_cast<const uint64_t *>(from + (sizeof(uint64_t) - place));
  ictx->vorn_lbiv_ictx_nbits = static_cast<int32_t>(nbits);
  ictx->vorn_lbiv_ictx_base = static_cast<int32_t>(start / 8 * 8 - 8 * place);
  ictx->vorn_lbiv_ictx_offset = start % 8 + 8 * place;
  ictx->vorn_lbiv_ictx_word = 0;
  if (start / 8 * 8 < nbits) {
    const uint64_t word = rest_of_group(from, place);
    ictx->vorn_lbiv_ictx_word = (mode == 1 ? ~word : word) & UINT64_MAX << ictx->vorn_lbiv_ictx_offset;
  }
}

VORN_KERNELS_END
