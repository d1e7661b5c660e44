// The dispatch tables: the filled slots, their number, and the kernels that do nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <tuple>

#include "tests/support/kernel_test.hpp"
#include "tests/support/slots.hpp"

// The library proves at compile time that the names of filled slots fit their bits.  This test has the numbers of
// widths.
TEST(dispatch_table, every_family_has_its_widths) {
  enum { fixed, dict, dynp, rle };
  using family = std::tuple<unsigned, unsigned, bool>; // opcode, encoding, flag
  std::map<family, unsigned> expected = {
      {{VORN_OPC_DECODE, dict, false}, 22},       {{VORN_OPC_DECODE_UNPACK, dict, false}, 22},
      {{VORN_OPC_DECODE_SYMBOL, dict, false}, 3}, {{VORN_OPC_SET, dict, false}, 22},
      {{VORN_OPC_BURST, rle, false}, 4},          {{VORN_OPC_SUM, fixed, false}, 4},
      {{VORN_OPC_SUM, dict, false}, 22},          {{VORN_OPC_DISTINCT, dict, false}, 22}};
  for (unsigned opcode = VORN_OPC_EQ; opcode <= VORN_OPC_GE_LE; ++opcode)
    for (const bool flag : {false, true}) {
      expected[{opcode, dict, flag}] = 23;
      expected[{opcode, fixed, flag}] = 4;
      expected[{opcode, dynp, flag}] = 3;
    }
  for (const unsigned kind :
       {fixed, dict, dynp}) // the kinds of translate tables: an entry for each key, from a base on, in pages
    expected[{VORN_OPC_XLATE, kind, false}] = 5, expected[{VORN_OPC_XLATE, kind, true}] = 4;
  expected[{VORN_OPC_XLATE, rle, true}] = 4; // group keys
  for (unsigned opcode = VORN_OPC_ADD; opcode <= VORN_OPC_MUL; ++opcode)
    expected[{opcode, fixed, false}] = expected[{opcode, fixed, true}] = 8; // forms of numbers
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
    if (slot.opcode() != VORN_OPC_SUM && slot.opcode() != VORN_OPC_DISTINCT)
      continue;
    ++placeholders;
    struct {
      vorn_cv res, src, operand;
      vorn_aux aux;
    } records = {};
    std::memset(&records, 0x01, sizeof records);
    const std::string before = vorn_test::bytes_of(records);
    EXPECT_EQ(vorn_global_ctx.vorn_global_ctx_dispatch[slot.index].binary(&records.res, &records.src, &records.operand,
                                                                          &records.aux),
              0U)
        << slot.name();
    EXPECT_TRUE(vorn_test::bytes_of(records) == before) << slot.name();
  }
  EXPECT_EQ(placeholders, 48U);
}

VORN_TEST_ALL_IMPLEMENTATIONS(dispatch_of_implementation);
