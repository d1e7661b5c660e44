/*
 * Points in a polygon: the number of edges that a ray from the point crosses is odd when the point is inside.  The left
 * and the bottom side of this square belong to it, the right and the top side do not.
 */
#include "minimal_host.h"

#include <stdio.h>

enum { CORNERS = 8, POINTS = 6 };

/* A square of 4 by 4 with a notch in its right side; the last corner is joined to the first. */
static double xs[CORNERS] = {0, 4, 4, 2, 2, 4, 4, 0};
static double ys[CORNERS] = {0, 0, 1, 1, 3, 3, 4, 4};

static const struct {
  double x, y;
  int inside;
} points[POINTS] = {{1, 2, 1}, {3, 2, 0}, {3, 3.5, 1}, {0, 2, 1}, {4, 0.5, 0}, {-1, 2, 0}};

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);
  double x, y;
  uint32_t crossed;
  vorn_cv corner_xs, corner_ys, point_x, point_y, res;
  vorn_build_vector(&corner_xs, xs, NULL, NULL, NULL, NULL, NULL, CORNERS, 0, NULL, 0);
  vorn_build_vector(&corner_ys, ys, NULL, NULL, NULL, NULL, NULL, CORNERS, 0, NULL, 0);
  vorn_build_vector(&point_x, &x, NULL, NULL, NULL, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&point_y, &y, NULL, NULL, NULL, NULL, NULL, 1, 0, NULL, 0);
  vorn_build_vector(&res, &crossed, NULL, NULL, NULL, NULL, NULL, 1, 0, NULL, 0);

  int wrong = 0;
  for (unsigned i = 0; i < POINTS; ++i) {
    x = points[i].x;
    y = points[i].y;
    vorn_spatial_pip(&ctx, &res, &corner_xs, &corner_ys, &point_x, &point_y, NULL);
    const int inside = (int) (crossed & 1);
    printf("(%g, %g): %u crossed, %s\n", x, y, crossed, inside ? "inside" : "outside");
    wrong |= inside != points[i].inside;
  }
  return wrong;
}
