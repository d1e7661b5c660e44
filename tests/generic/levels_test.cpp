// All levels in one program: no two levels share a function.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <map>
#include <string>

#include "isa/level.hpp"
#include "tests/support/slots.hpp"

#define LEVELS(X)                                                                                                      \
  X(sse42)                                                                                                             \
  X(avx)                                                                                                               \
  X(avx2)                                                                                                              \
  X(avx512)

LEVELS(VORN_DECLARE_LEVEL)

TEST(levels, share_no_function) {
  std::map<uintptr_t, std::string> owner;
  const auto expect_new = [&](uintptr_t function, const std::string &name) {
    const auto [place, added] = owner.emplace(function, name);
    EXPECT_TRUE(added) << name << " is " << place->second;
  };
  const auto visit = [&](const char *level, const vorn_global_ctx_t &record) {
    for (const vorn_test::slot &slot : vorn_test::filled_slots(record.vorn_global_ctx_dispatch))
      expect_new(std::bit_cast<uintptr_t>(record.vorn_global_ctx_dispatch[slot.index]),
                 std::string(level) + ' ' + slot.name());
    // The operations of bit vectors.
    uintptr_t operations[34];
    std::memcpy(operations, &record.vorn_lbivpopcnt_dydi, sizeof operations);
    for (size_t i = 0; i < std::size(operations); ++i)
      expect_new(operations[i], std::string(level) + " operation " + std::to_string(i));
  };
  visit("generic", vorn_global_ctx);
#define VISIT(level) visit(#level, vorn::level::record);
  LEVELS(VISIT)
  EXPECT_EQ(owner.size(), 5 * (vorn_test::filled_slots(vorn_dispatch_table).size() + 34));
}

// The level vbmi has kernels of its own for predicates, sets and unpacking, and the kernels of avx512 for the rest.
VORN_DECLARE_LEVEL(vbmi)

TEST(levels, vbmi_takes_the_other_kernels_of_avx512) {
  const vorn_global_ctx_t &own = vorn::vbmi::record, &base = vorn::avx512::record;
  for (const vorn_test::slot &slot : vorn_test::filled_slots(base.vorn_global_ctx_dispatch)) {
    const auto kernel_of = [&](const vorn_global_ctx_t &record) {
      return std::bit_cast<uintptr_t>(record.vorn_global_ctx_dispatch[slot.index]);
    };
    const bool is_own = slot.predicate() || slot.opcode() == VORN_OPC_SET || slot.opcode() == VORN_OPC_DECODE_UNPACK;
    EXPECT_EQ(kernel_of(own) != kernel_of(base), is_own) << slot.name();
  }
  EXPECT_NE(own.vorn_lbivand_dydi, base.vorn_lbivand_dydi);
  EXPECT_EQ(own.vorn_gather_dydi, base.vorn_gather_dydi);
}
