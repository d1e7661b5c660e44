// Texts of statements and bytes of partitions.  The positions of parameters lie in the text in ascending order.  Other
// texts and bytes are refused.
#include <gtest/gtest.h>

#include <cstdint>
#include <span>
#include <string>

#include "adbc/failure.hpp"
#include "adbc/partition.hpp"
#include "fuzz/store/targets.hpp"
#include "sql/statement.hpp"
#include "store/error.hpp"

namespace vorn_fuzz {

using namespace store;

void statements(input &from) {
  const std::string text = from.ConsumeRemainingBytesAsString();
  const std::vector<sql::parameter> parameters = sql::parameters_of(text);
  size_t done = 0;
  for (const sql::parameter &p : parameters) {
    ASSERT_GE(p.at, done);
    ASSERT_GT(p.length, 0U);
    done = p.at + p.length;
  }
  ASSERT_LE(done, text.size());
  EXPECT_EQ(sql::with_values(text, parameters, [&](const sql::parameter &p) { return text.substr(p.at, p.length); }),
            text);
  try {
    const sql::statement read = sql::read_statement(text);
    if (read.what == sql::statement_kind::query) {
      EXPECT_EQ(read.query, text);
    }
  } catch (const error &) { // a statement of another form
  }
  try {
    adbc::read_partition(std::span(reinterpret_cast<const uint8_t *>(text.data()), text.size()));
  } catch (const adbc::failure &) { // no partition
  }
}

} // namespace vorn_fuzz
