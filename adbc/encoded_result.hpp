// Results as encoded tables in partitions, for other processes that go on with a query.
//
// The stream has a row for each partition with rows: its number, the number of its rows, and the bytes of a saved
// table with these rows.  The values stay as they are encoded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "adbc/result.hpp"

namespace store::adbc {

// How rows are split: rows with equal values in the columns `by` go to one partition.
struct partitioning {
  uint32_t partitions = 1;
  std::vector<size_t> by;
};

enum class table_form : uint8_t {
  sent, // small, for another process
  file  // the bytes of a .vorn file
};

// Runs the query here.  A batch of the stream is a partition, which is encoded when the batch is read.  Throws failure
// for a column that is not there, and for several partitions without a column.
std::unique_ptr<result> encoded_rows(connection &on, std::shared_ptr<execution> run, logical::query query,
                                     partitioning split, table_form form);

} // namespace store::adbc
