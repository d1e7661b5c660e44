// The dispatch tables: which slots are filled, where they lie, and the kernels that do nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <tuple>

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
  for (const unsigned kind : {fixed, dict, dynp}) // of translation: an entry for each key, from a base on, in pages
    expected[{17, kind, false}] = 5, expected[{17, kind, true}] = 4;
  expected[{17, rle, true}] = 4; // group keys
  for (unsigned opcode = 19; opcode <= 21; ++opcode)
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
