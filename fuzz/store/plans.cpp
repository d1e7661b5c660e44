// The JSON of a plan, perhaps damaged.  It is read, or refused with one line.  A seed is a plan of DuckDB.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "fuzz/store/targets.hpp"
#include "sql/json_document.hpp"
#include "sql/plan_reader.hpp"
#include "store/error.hpp"
#include "store/logical/text.hpp"

namespace vorn_fuzz {

using namespace store;

void plans(input &from) {
  const sql::expression_reader expressions([](const std::string &name) { return name == "random"; },
                                           [](const logical::expression &) { return std::nullopt; });
  std::string reason;
  try {
    const std::string text = from.ConsumeRemainingBytesAsString();
    logical::to_text(sql::plan_reader(expressions).read_whole(sql::json_document(text).tree()));
  } catch (const sql::missing_part &part) {
    reason = part.what + part.name;
  } catch (const error &e) {
    reason = e.what();
  }
  EXPECT_EQ(reason.find('\n'), reason.npos) << reason;
}

} // namespace vorn_fuzz
