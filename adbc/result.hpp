// Results as Arrow streams.  A stream owns all that it needs, so it may outlive every other record of the driver.
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
  // The next record batch; a released one at the end.
  virtual ArrowArray next() = 0;
};

// The stream of a result.  Errors are reported as the stream interface has it, and by error_of.
ArrowArrayStream stream_of(std::unique_ptr<result> rows, std::string query = {});

// Why a stream failed last; null when the stream is no stream of this driver or did not fail.  The memory is the
// stream's.
const AdbcError *error_of(ArrowArrayStream *stream, AdbcStatusCode *status) noexcept;

// One record batch, or none without an array.
std::unique_ptr<result> one_batch(schema_parts schema, std::optional<array_parts> batch);

// A planned query, perhaps without some of its rows.
struct planned_query {
  logical::query query;
  morsel_range range = {};
};

// The rows of queries, one after the other, which `plan` gives by their numbers below `count`.  Each has the same
// columns. The first one is planned and opened here; with a count of 0 it only says the columns.
std::unique_ptr<result> rows_of(std::shared_ptr<connection> on, std::shared_ptr<execution> run, size_t count,
                                std::function<planned_query(sql::session &, size_t)> plan);

} // namespace store::adbc
