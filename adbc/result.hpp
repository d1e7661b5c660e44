// Results as Arrow streams.  A stream owns everything that it needs, so it may outlive every other record of the
// driver.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "adbc/adbc.h"
#include "adbc/connection.hpp"
#include "store/arrow/export.hpp"
#include "store/arrow/exported.hpp"
#include "store/logical/plan.hpp"

namespace store::adbc {

class result {
public:
  virtual ~result() = default;

  virtual ArrowSchema schema() = 0;
  // The next record batch, or a released record at the end.
  virtual ArrowArray next() = 0;
};

// The stream of a result.  The stream interface and error_of report errors.
ArrowArrayStream stream_of(std::unique_ptr<result> rows, std::string query = {});

// The last failure of a stream; null for a stream of another driver and for a stream without a failure.  The memory
// belongs to the stream.
const AdbcError *error_of(ArrowArrayStream *stream, AdbcStatusCode *status) noexcept;

// One record batch, or none without an array.
std::unique_ptr<result> one_batch(schema_parts schema, std::optional<array_parts> batch);

// A planned query, perhaps without some of its rows.
struct planned_query {
  logical::query query;
  morsel_range range = {};
};

// The rows of several queries, one after another.  `plan` makes the query of each number below `count`.  All queries
// have the same columns.  The call plans and opens the first query.  With a count of 0 this query only gives the
// columns.
std::unique_ptr<result> rows_of(std::shared_ptr<connection> on, std::shared_ptr<execution> run, size_t count,
                                std::function<planned_query(sql::session &, size_t)> plan);

} // namespace store::adbc
