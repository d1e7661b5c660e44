// The generic dispatch table and the names of its slots, built at compile time from the families' lists.
#include "generic/dict_compare.kernels.hpp"
#include "generic/dispatch_builder.hpp"
#include "generic/placeholders.kernels.hpp"

using namespace vorn;

extern "C" {
#define VORN_DECLARE_COMPARE(w, op, OP, suffix)                                                                        \
  uint32_t vorn_##op##_dict_##w##bit##suffix(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *);
#define VORN_DECLARE_RANGE(w, op, OP, first, suffix)                                                                   \
  uint32_t vorn_##op##_dict_##w##bit##suffix(vorn_cv *, vorn_cv *, const vorn_cv *, const vorn_cv *, vorn_aux *);
#define VORN_DECLARE_PLACEHOLDER(op, OP, enc, ENC, w)                                                                  \
  uint32_t vorn_##op##_##enc##_##w##bit(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *);
VORN_DICT_COMPARE_KERNELS(VORN_DECLARE_COMPARE)
VORN_DICT_RANGE_KERNELS(VORN_DECLARE_RANGE)
VORN_PLACEHOLDER_KERNELS(VORN_DECLARE_PLACEHOLDER)
}

namespace {

#define VORN_ENTRY(OP, ENC, w, flag, shape, name)                                                                      \
  dispatch_entry{VORN_OPC_##OP, VORN_ENC_##ENC, width_code(w), flag, {.shape = name}, #name},
#define VORN_COMPARE_ENTRY(w, op, OP, suffix)                                                                          \
  VORN_ENTRY(OP, DICT, w, #suffix[0] != '\0', binary, vorn_##op##_dict_##w##bit##suffix)
#define VORN_RANGE_ENTRY(w, op, OP, first, suffix)                                                                     \
  VORN_ENTRY(OP, DICT, w, #suffix[0] != '\0', ternary, vorn_##op##_dict_##w##bit##suffix)
#define VORN_PLACEHOLDER_ENTRY(op, OP, enc, ENC, w) VORN_ENTRY(OP, ENC, w, 0, binary, vorn_##op##_##enc##_##w##bit)

constexpr auto dict_compares = std::to_array<dispatch_entry>({VORN_DICT_COMPARE_KERNELS(VORN_COMPARE_ENTRY)});
constexpr auto dict_ranges = std::to_array<dispatch_entry>({VORN_DICT_RANGE_KERNELS(VORN_RANGE_ENTRY)});
constexpr auto placeholders = std::to_array<dispatch_entry>({VORN_PLACEHOLDER_KERNELS(VORN_PLACEHOLDER_ENTRY)});

static_assert(dict_compares.size() == 6 * 23 * 2);
static_assert(dict_ranges.size() == 4 * 23 * 2);
static_assert(placeholders.size() == 4 + 22 + 22);

consteval dispatch build() { return build_dispatch(508, dict_compares, dict_ranges, placeholders); }

} // namespace

// The exported names are C arrays, which no function can return: they are aliases of what the builder made.
extern "C" constinit const auto vorn_built_kernels = build().kernels;
extern "C" constinit const auto vorn_built_names = build().names;
extern "C" const vorn_kernel vorn_dispatch_table[VORN_DISPATCH_SLOTS] __attribute__((alias("vorn_built_kernels")));
extern "C" const char *const vorn_dispatch_func_names[VORN_DISPATCH_SLOTS] __attribute__((alias("vorn_built_names")));
