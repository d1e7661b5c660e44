// Point in polygon: the number of edges of a ring that a ray crosses.  The ray starts at the point and runs along the
// first axis.
#include "generic/native.hpp"
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

// An edge spans the height of the ray when one of its ends lies above the ray and the other end does not.  The low end
// belongs to the edge and the high end does not, so that two edges that pass through the ray at a vertex count once.
uint32_t vorn_spatial_pip_dydi(vorn_cv *res, vorn_cv *xs, vorn_cv *ys, vorn_cv *px, vorn_cv *py, vorn_aux *) {
  const auto coordinate = [](const vorn_cv *cv, uint64_t i) { return vorn::load<double>(cv->vorn_cv_vals, i); };
  const double x = coordinate(px, 0), y = coordinate(py, 0);
  const uint32_t n = xs->vorn_cv_nrows;
  uint32_t crossed = 0;
  for (uint32_t i = 0, j = n - 1; i < n; j = i++) {
    const double yi = coordinate(ys, i), yj = coordinate(ys, j);
    if ((y < yi) == (y < yj))
      continue;
    const double xi = coordinate(xs, i);
    const double at = ((coordinate(xs, j) - xi) * (y - yi)) / (yj - yi) + xi;
    crossed += at > x ? 1 : 0;
  }
  vorn::store<uint32_t>(res->vorn_cv_vals, crossed);
  return VORN_RESULT_DONE;
}

VORN_KERNELS_END
