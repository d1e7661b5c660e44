// Point in polygon: the number of edges of a ring that a ray crosses.  The ray starts at the point and runs along the
// first axis.
#include "generic/row_test.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

// An edge spans the height of the ray when one of its ends lies above the ray and the other end does not.  The low end
// belongs to the edge and the high end does not, so that two edges that pass through the ray at a vertex count once.
// 64 vertices are compared with the height at a time, and only edges that span it take a division.
uint32_t vorn_spatial_pip_dydi(vorn_cv *res, vorn_cv *xs, vorn_cv *ys, vorn_cv *px, vorn_cv *py, vorn_aux *) {
  const auto coordinate = [](const vorn_cv *cv, uint64_t i) { return vorn::load<double>(cv->vorn_cv_vals, i); };
  const double x = coordinate(px, 0), y = coordinate(py, 0);
  const uint32_t n = xs->vorn_cv_nrows;
  uint32_t crossed = 0;
  uint64_t last_above = n != 0 && y < coordinate(ys, n - 1) ? 1 : 0; // of the vertex before the block
  for (uint64_t first = 0; first < n; first += vorn::test_block) {
    const uint64_t count = std::min<uint64_t>(n - first, vorn::test_block);
    uint8_t passes[vorn::test_block] = {};
    for (uint64_t i = 0; i < count; ++i)
      passes[i] = y < coordinate(ys, first + i) ? 1 : 0;
    const uint64_t above = vorn::bits_of(passes);
    uint64_t spans = (above ^ (above << 1 | last_above)) & vorn::low_bits(count);
    last_above = above >> 63;
    for (; spans != 0; spans &= spans - 1) {
      const uint64_t i = first + static_cast<uint64_t>(__builtin_ctzll(spans)), j = (i == 0 ? n : i) - 1;
      const double xi = coordinate(xs, i), yi = coordinate(ys, i);
      const double at = ((coordinate(xs, j) - xi) * (y - yi)) / (coordinate(ys, j) - yi) + xi;
      crossed += at > x ? 1 : 0;
    }
  }
  vorn::store<uint32_t>(res->vorn_cv_vals, crossed);
  return VORN_RESULT_DONE;
}

VORN_KERNELS_END
