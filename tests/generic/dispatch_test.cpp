// The dispatch tables: the filled slots, their number, and the kernels that do nothing.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

#include "tests/support/golden.hpp"
#include "tests/support/kernel_test.hpp"
#include "tests/support/slots.hpp"

// The library proves at compile time that the names of filled slots fit their bits.  golden/dispatch_table.txt has the
// number of widths of each operation, a line for each encoding.
TEST(dispatch_table, every_family_has_its_widths) {
  std::map<std::string, unsigned> widths[4];
  for (uint32_t index = 0; index < vorn_dispatch_table_size(); ++index) {
    const vorn_test::slot slot = {index};
    const bool filled = vorn_test::filled(vorn_dispatch_table[index]);
    EXPECT_EQ(std::strcmp(slot.name(), "vorn_invalid_dispatch") != 0, filled) << std::hex << index;
    if (filled)
      ++widths[slot.encoding()]
              [vorn_overload_opc_name(slot.opcode(), 0) + std::string(slot.flag() ? " with flag" : "")];
  }
  vorn_test::lines found;
  for (const auto &of_encoding : widths) {
    found.emplace_back();
    for (const auto &[operation, number] : of_encoding)
      found.back() += (found.back().empty() ? "" : ", ") + operation + " " + std::to_string(number);
  }
  vorn_test::expect_golden(VORN_GOLDEN "/dispatch_table.txt", found);
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
