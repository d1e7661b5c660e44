// Texts in aligned columns.
#include <gtest/gtest.h>

#include "store/value/text_table.hpp"

namespace {

TEST(text_table, aligns_characters_and_not_bytes) {
  EXPECT_EQ(store::text_table({{"name", false}, {"n", true}, {"last", false}},
                              {{"\xc3\xa9\xc3\xa9t", "7", "x"}, {"a longer one", "-12", ""}}),
            "name            n  last\n"
            "\xc3\xa9\xc3\xa9t             7  x\n"
            "a longer one  -12\n");
  EXPECT_EQ(store::text_table({{"a\nb", false}}, {{"\t\x7f"}}), "a\\nb\n\\x09\\x7f\n");
}

} // namespace
