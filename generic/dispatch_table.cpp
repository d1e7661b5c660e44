// The generic dispatch table and the names of its slots, built at compile time from the families' lists.
#include "generic/dict_compare.kernels.hpp"
#include "generic/dict_decode.kernels.hpp"
#include "generic/dict_set.kernels.hpp"
#include "generic/dispatch_builder.hpp"
#include "generic/dynp_compare.kernels.hpp"
#include "generic/fixed_compare.kernels.hpp"
#include "generic/placeholders.kernels.hpp"
#include "generic/rle_burst.kernels.hpp"

using namespace vorn;

extern "C" {
#define VORN_DECLARE_COMPARE(enc, ENC, w, op, OP, suffix)                                                              \
  uint32_t vorn_##op##_##enc##_##w##bit##suffix(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *);
#define VORN_DECLARE_RANGE(enc, ENC, w, op, OP, first, suffix)                                                         \
  uint32_t vorn_##op##_##enc##_##w##bit##suffix(vorn_cv *, vorn_cv *, const vorn_cv *, const vorn_cv *, vorn_aux *);
#define VORN_DECLARE_SET(w) uint32_t vorn_set_dict_##w##bit(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *);
#define VORN_DECLARE_PLACEHOLDER(op, OP, enc, ENC, w)                                                                  \
  uint32_t vorn_##op##_##enc##_##w##bit(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *);
VORN_DICT_COMPARE_KERNELS(VORN_DECLARE_COMPARE)
VORN_DICT_RANGE_KERNELS(VORN_DECLARE_RANGE)
VORN_FIXED_COMPARE_KERNELS(VORN_DECLARE_COMPARE)
VORN_FIXED_RANGE_KERNELS(VORN_DECLARE_RANGE)
VORN_DYNP_COMPARE_KERNELS(VORN_DECLARE_COMPARE)
VORN_DYNP_RANGE_KERNELS(VORN_DECLARE_RANGE)
VORN_DICT_SET_KERNELS(VORN_DECLARE_SET)
VORN_PLACEHOLDER_KERNELS(VORN_DECLARE_PLACEHOLDER)
#define VORN_DECLARE_DECODE(w) uint32_t vorn_decode_dict_##w##bit(vorn_cv *, vorn_cv *, vorn_aux *);
VORN_DICT_DECODE_KERNELS(VORN_DECLARE_DECODE)
#define VORN_DECLARE_UNPACK(w) uint32_t vorn_decode_unpack_dict_##w##bit(vorn_cv *, vorn_cv *, vorn_aux *);
VORN_DICT_DECODE_KERNELS(VORN_DECLARE_UNPACK)
#define VORN_DECLARE_SYMBOL(w) uint32_t vorn_decode_symbol_dict_##w##bit(vorn_cv *, vorn_cv *, vorn_aux *);
VORN_DICT_SYMBOL_KERNELS(VORN_DECLARE_SYMBOL)
#define VORN_DECLARE_BURST(suffix, w) uint32_t vorn_burst_rle_##suffix(vorn_cv *, vorn_cv *, vorn_aux *);
VORN_BURST_KERNELS(VORN_DECLARE_BURST)
}

namespace {

#define VORN_ENTRY(OP, ENC, w, flag, shape, name)                                                                      \
  dispatch_entry{VORN_OPC_##OP, VORN_ENC_##ENC, width_code(w), flag, {.shape = name}, #name},
#define VORN_COMPARE_ENTRY(enc, ENC, w, op, OP, suffix)                                                                \
  VORN_ENTRY(OP, ENC, w, #suffix[0] != '\0', binary, vorn_##op##_##enc##_##w##bit##suffix)
#define VORN_RANGE_ENTRY(enc, ENC, w, op, OP, first, suffix)                                                           \
  VORN_ENTRY(OP, ENC, w, #suffix[0] != '\0', ternary, vorn_##op##_##enc##_##w##bit##suffix)
#define VORN_SET_ENTRY(w)                           VORN_ENTRY(SET, DICT, w, 0, binary, vorn_set_dict_##w##bit)
#define VORN_PLACEHOLDER_ENTRY(op, OP, enc, ENC, w) VORN_ENTRY(OP, ENC, w, 0, binary, vorn_##op##_##enc##_##w##bit)

#define VORN_BURST_ENTRY(suffix, w) VORN_ENTRY(BURST, RLE, w, 0, unary, vorn_burst_rle_##suffix)
#define VORN_DECODE_ENTRY(w)        VORN_ENTRY(DECODE, DICT, w, 0, unary, vorn_decode_dict_##w##bit)
#define VORN_UNPACK_ENTRY(w)        VORN_ENTRY(DECODE_UNPACK, DICT, w, 0, unary, vorn_decode_unpack_dict_##w##bit)
#define VORN_SYMBOL_ENTRY(w)        VORN_ENTRY(DECODE_SYMBOL, DICT, w, 0, unary, vorn_decode_symbol_dict_##w##bit)

constexpr auto dict_compares = std::to_array<dispatch_entry>({VORN_DICT_COMPARE_KERNELS(VORN_COMPARE_ENTRY)});
constexpr auto dict_ranges = std::to_array<dispatch_entry>({VORN_DICT_RANGE_KERNELS(VORN_RANGE_ENTRY)});
constexpr auto fixed_compares = std::to_array<dispatch_entry>({VORN_FIXED_COMPARE_KERNELS(VORN_COMPARE_ENTRY)});
constexpr auto fixed_ranges = std::to_array<dispatch_entry>({VORN_FIXED_RANGE_KERNELS(VORN_RANGE_ENTRY)});
constexpr auto dynp_compares = std::to_array<dispatch_entry>({VORN_DYNP_COMPARE_KERNELS(VORN_COMPARE_ENTRY)});
constexpr auto dynp_ranges = std::to_array<dispatch_entry>({VORN_DYNP_RANGE_KERNELS(VORN_RANGE_ENTRY)});
constexpr auto dict_sets = std::to_array<dispatch_entry>({VORN_DICT_SET_KERNELS(VORN_SET_ENTRY)});
constexpr auto placeholders = std::to_array<dispatch_entry>({VORN_PLACEHOLDER_KERNELS(VORN_PLACEHOLDER_ENTRY)});
constexpr auto bursts = std::to_array<dispatch_entry>({VORN_BURST_KERNELS(VORN_BURST_ENTRY)});
constexpr auto dict_decodes = std::to_array<dispatch_entry>({VORN_DICT_DECODE_KERNELS(VORN_DECODE_ENTRY)});
constexpr auto dict_unpacks = std::to_array<dispatch_entry>({VORN_DICT_DECODE_KERNELS(VORN_UNPACK_ENTRY)});
constexpr auto dict_symbols = std::to_array<dispatch_entry>({VORN_DICT_SYMBOL_KERNELS(VORN_SYMBOL_ENTRY)});

static_assert(dict_compares.size() == 6 * 23 * 2);
static_assert(dict_ranges.size() == 4 * 23 * 2);
static_assert(fixed_compares.size() == 6 * 4 * 2);
static_assert(fixed_ranges.size() == 4 * 4 * 2);
static_assert(dynp_compares.size() == 6 * 3 * 2);
static_assert(dynp_ranges.size() == 4 * 3 * 2);
static_assert(dict_sets.size() == 22);
static_assert(dict_decodes.size() == 22 && dict_unpacks.size() == 22 && dict_symbols.size() == 3);
static_assert(placeholders.size() == 4 + 22 + 22);

consteval dispatch build() {
  constexpr size_t expected = 460 + // dictionary predicates
                              80 +  // fixed predicates
                              60 +  // dynamic-packed predicates
                              22 +  // sets
                              47 +  // decoders of dictionary codes
                              4 +   // bursts
                              48;   // placeholders
  return build_dispatch(expected, dict_compares, dict_ranges, fixed_compares, fixed_ranges, dynp_compares, dynp_ranges,
                        dict_sets, dict_decodes, dict_unpacks, dict_symbols, bursts, placeholders);
}

} // namespace

// The exported names are C arrays, which no function can return: they are aliases of what the builder made.
extern "C" constinit const auto vorn_built_kernels = build().kernels;
extern "C" constinit const auto vorn_built_names = build().names;
extern "C" const vorn_kernel vorn_dispatch_table[VORN_DISPATCH_SLOTS] __attribute__((alias("vorn_built_kernels")));
extern "C" const char *const vorn_dispatch_func_names[VORN_DISPATCH_SLOTS] __attribute__((alias("vorn_built_names")));
