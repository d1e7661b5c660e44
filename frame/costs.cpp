// The exported cost tables: relative costs by width, for the planner of the host.
#include "frame/vorn.h"

#include <algorithm>
#include <array>

namespace {

// One cost for each width class of a column of values: up to 16, 32 and 64 bits.
consteval std::array<double, 65> by_class(double upto_16, double upto_32, double upto_64) {
  std::array<double, 65> costs = {};
  for (unsigned width = 0; width < costs.size(); ++width)
    costs[width] = width <= 16 ? upto_16 : width <= 32 ? upto_32 : upto_64;
  return costs;
}

// The costs of the widths 0 to 20; wider codes, up to 32 bits, cost the same.
consteval std::array<double, 33> by_code_width(std::array<double, 21> narrow, double wider) {
  std::array<double, 33> costs = {};
  costs.fill(wider);
  std::copy(narrow.begin(), narrow.end(), costs.begin());
  return costs;
}

} // namespace

extern "C" {
extern const double vorn_proj_dynp = 154;
extern const double vorn_burst_rle = 6.75;
}
extern "C" constinit const auto vorn_costs_scan_fixed = by_class(0.4, 0.8, 1.99);
extern "C" constinit const auto vorn_costs_scan_dynp = by_class(0.4, 1.24, 2.3);
extern "C" constinit const auto vorn_costs_proj_fixed = by_class(85, 95, 98);
extern "C" constinit const auto vorn_costs_scan_dict =
    by_code_width({0.29, 0.29, 0.29, 0.29, 0.2,  0.29, 0.29, 0.31, 0.2, 0.38, 0.37,
                   0.37, 0.39, 0.39, 0.39, 0.39, 0.39, 0.65, 0.66, 0.7, 0.7},
                  0.76);
extern "C" constinit const auto vorn_costs_proj_dict =
    by_code_width({89, 89, 89, 89, 89, 96, 93, 99, 99, 97, 91, 94, 89, 98, 92, 98, 95, 96, 98, 106, 110}, 116);

// The exported names are C arrays.  No function can return a C array, so they are aliases of the arrays above.
extern "C" {
extern const double vorn_scan_fixed[65] __attribute__((alias("vorn_costs_scan_fixed")));
extern const double vorn_scan_dynp[65] __attribute__((alias("vorn_costs_scan_dynp")));
extern const double vorn_proj_fixed[65] __attribute__((alias("vorn_costs_proj_fixed")));
extern const double vorn_scan_dict[33] __attribute__((alias("vorn_costs_scan_dict")));
extern const double vorn_proj_dict[33] __attribute__((alias("vorn_costs_proj_dict")));
}
