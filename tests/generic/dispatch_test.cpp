// The dispatch tables: which slots are filled, where they lie, and the kernels that do nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <tuple>
#include <vector>

#include "tests/support/implementation.hpp"
#include "tests/support/slots.hpp"

// The library proves that the names of filled slots spell their bits; here stand the numbers of widths.
TEST(dispatch_table, every_family_has_its_widths) {
  enum { fixed, dict, dynp, rle };
  using family = std::tuple<unsigned, unsigned, bool>; // opcode, encoding, flag
  std::map<family, unsigned> expected = {{{10, dict, false}, 22}, {{11, dict, false}, 22}, {{12, dict, false}, 3},
                                         {{13, dict, false}, 22}, {{14, rle, false}, 4},   {{15, fixed, false}, 4},
                                         {{15, dict, false}, 22}, {{16, dict, false}, 22}};
  for (unsigned opcode = 0; opcode < 10; ++opcode)
    for (const bool flag : {false, true}) {
      expected[{opcode, dict, flag}] = 23;
      expected[{opcode, fixed, flag}] = 4;
      expected[{opcode, dynp, flag}] = 3;
    }
  std::map<family, unsigned> widths;
  for (uint32_t index = 0; index < vorn_dispatch_table_size(); ++index) {
    const vorn_test::slot slot = {index};
    const bool filled = vorn_test::filled(vorn_dispatch_table[index]);
    EXPECT_EQ(std::strcmp(slot.name(), "vorn_invalid_dispatch") != 0, filled) << std::hex << index;
    if (filled)
      ++widths[{slot.opcode(), slot.encoding(), slot.flag()}];
  }
  EXPECT_EQ(widths, expected);
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
