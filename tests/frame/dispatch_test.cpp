// The dispatch tables: which slots are filled, what they are called, and the kernels that do nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/implementation.hpp"
#include "tests/support/slots.hpp"

namespace {

struct width {
  const char *bits;
  uint32_t code;
};

std::vector<width> dict_widths() {
  return {{"1", 0},   {"2", 1},   {"3", 2},   {"4", 3},   {"5", 4},   {"6", 5},   {"7", 6},   {"8", 7},
          {"9", 8},   {"10", 9},  {"11", 10}, {"12", 11}, {"13", 12}, {"14", 13}, {"15", 14}, {"16", 15},
          {"17", 16}, {"18", 17}, {"19", 18}, {"20", 19}, {"24", 20}, {"32", 21}, {"64", 22}};
}

std::vector<width> dict_widths_without_64() {
  auto widths = dict_widths();
  widths.pop_back();
  return widths;
}

std::vector<width> fixed_widths() { return {{"8", 7}, {"16", 15}, {"32", 21}, {"64", 22}}; }

std::vector<width> dynp_widths() { return {{"16", 15}, {"32", 21}, {"64", 22}}; }

std::vector<std::string> predicates() {
  return {"eq", "lt", "gt", "le", "ge", "ne", "gt_lt", "gt_le", "ge_lt", "ge_le"};
}

// Kernels whose names differ in operation and width alone.
struct family {
  uint32_t first_opcode;
  std::vector<std::string> operations;
  uint32_t encoding;
  const char *encoding_name;
  uint32_t flag;
  const char *suffix;
  std::vector<width> widths;
};

std::vector<family> families() {
  return {{0, predicates(), 1, "dict", 0, "", dict_widths()},
          {0, predicates(), 1, "dict", 1, "_null", dict_widths()},
          {0, predicates(), 0, "fixed", 0, "", fixed_widths()},
          {0, predicates(), 0, "fixed", 1, "_tz", fixed_widths()},
          {0, predicates(), 2, "dynp", 0, "", dynp_widths()},
          {0, predicates(), 2, "dynp", 1, "_tz", dynp_widths()},
          {10, {"decode", "decode_unpack"}, 1, "dict", 0, "", dict_widths_without_64()},
          {12, {"decode_symbol"}, 1, "dict", 0, "", {{"8", 7}, {"16", 15}, {"32", 21}}},
          {13, {"set"}, 1, "dict", 0, "", dict_widths_without_64()},
          {14, {"burst"}, 3, "rle", 0, "", {{"8", 6}, {"16", 14}}},
          {14, {"burst"}, 3, "rle", 0, "_cla", {{"8", 7}, {"16", 15}}},
          {15, {"sum"}, 0, "fixed", 0, "", fixed_widths()},
          {15, {"sum"}, 1, "dict", 0, "", dict_widths_without_64()},
          {16, {"distinct"}, 1, "dict", 0, "", dict_widths_without_64()}};
}

constexpr uint32_t filled_slots = 460 + 80 + 60 + 47 + 22 + 4 + 48;

std::array<std::string, 8192> expected_names() {
  std::array<std::string, 8192> names;
  for (const family &kernels : families())
    for (uint32_t i = 0; i < kernels.operations.size(); ++i)
      for (const width &w : kernels.widths)
        names[kernels.flag * 4096 + w.code * 128 + kernels.encoding * 32 + kernels.first_opcode + i] =
            "vorn_" + kernels.operations[i] + '_' + kernels.encoding_name + '_' + w.bits + "bit" + kernels.suffix;
  return names;
}

} // namespace

TEST(dispatch_table, every_slot_is_filled_and_named_or_neither) {
  const auto names = expected_names();
  uint32_t filled = 0;
  for (uint32_t slot = 0; slot < 8192; ++slot) {
    EXPECT_EQ(vorn_test::filled(vorn_dispatch_table[slot]), !names[slot].empty()) << std::hex << slot;
    EXPECT_STREQ(vorn_dispatch_func_names[slot], names[slot].empty() ? "vorn_invalid_dispatch" : names[slot].c_str())
        << std::hex << slot;
    filled += vorn_test::filled(vorn_dispatch_table[slot]);
  }
  EXPECT_EQ(filled, filled_slots);
  EXPECT_EQ(vorn_dispatch_table_size(), 8192U);
}

TEST(dispatch_table, slots_lie_where_type_code_and_opcode_say) {
  const struct {
    uint32_t width, flags, opcode, slot;
    const char *name;
  } cases[] = {{12, 0x48, 0, 0x15a0, "vorn_eq_dict_12bit_null"}, {8, 0, 0, 0x03a0, "vorn_eq_dict_8bit"},
               {1, 0x8, 9, 0x0029, "vorn_ge_le_dict_1bit"},      {64, 0x40, 8, 0x1b28, "vorn_ge_lt_dict_64bit_null"},
               {24, 0, 16, 0x0a30, "vorn_distinct_dict_24bit"},  {64, 0, 16, 0x0b30, "vorn_invalid_dispatch"},
               {32, 0x40, 15, 0x1aaf, "vorn_invalid_dispatch"}};
  for (const auto &[width, flags, opcode, slot, name] : cases) {
    vorn_enc_ctx enc;
    vorn_build_encoding_type_dict(&enc, width, nullptr, nullptr, nullptr, 0, 0, flags);
    EXPECT_EQ(enc.vorn_enc_ctx_type << 5 | opcode, slot);
    EXPECT_STREQ(vorn_dispatch_func_names[slot], name);
  }
}

TEST(dispatch_table, predicates_are_kernels_of_their_own) {
  std::vector<uintptr_t> kernels;
  for (const vorn_test::slot &slot : vorn_test::filled_slots(vorn_dispatch_table))
    if (slot.opcode() <= 9)
      kernels.push_back(std::bit_cast<uintptr_t>(vorn_dispatch_table[slot.index]));
  std::ranges::sort(kernels);
  EXPECT_EQ(std::ranges::adjacent_find(kernels), kernels.end());
}

TEST(null_kernel, refuses_and_touches_nothing) { EXPECT_EQ(vorn_null(nullptr, nullptr, nullptr, nullptr), 2U); }

class dispatch_of_implementation : public vorn_test::implementation_test {};

TEST_P(dispatch_of_implementation, fills_the_slots_of_the_generic_table) {
  for (uint32_t slot = 0; slot < 8192; ++slot)
    EXPECT_EQ(vorn_test::filled(vorn_global_ctx.vorn_global_ctx_dispatch[slot]),
              vorn_test::filled(vorn_dispatch_table[slot]))
        << vorn_dispatch_func_names[slot];
}

TEST_P(dispatch_of_implementation, placeholders_do_nothing) {
  unsigned placeholders = 0;
  for (const vorn_test::slot &slot : vorn_test::filled_slots(vorn_global_ctx.vorn_global_ctx_dispatch)) {
    if (slot.opcode() != 15 && slot.opcode() != 16)
      continue;
    ++placeholders;
    struct {
      vorn_cv res, src, operand;
      vorn_aux aux;
    } records, before;
    std::memset(&records, 0x01, sizeof records);
    std::memcpy(&before, &records, sizeof records);
    EXPECT_EQ(vorn_global_ctx.vorn_global_ctx_dispatch[slot.index].binary(&records.res, &records.src, &records.operand,
                                                                          &records.aux),
              0U)
        << slot.name();
    EXPECT_EQ(std::memcmp(&records, &before, sizeof records), 0) << slot.name();
  }
  EXPECT_EQ(placeholders, 48U);
}

VORN_TEST_ALL_IMPLEMENTATIONS(dispatch_of_implementation);
