// Parts of a query's result, for connections of this process or of others.
//
// A partition is some consecutive row groups of one table, and the query that is asked of them.  A query can be
// partitioned if its plan has one table, conditions and expressions, so that the rows of all partitions together are
// the rows of the query.  A table of several .vorn files has partitions of each file, and whoever reads a partition
// reads that file alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "adbc/database.hpp"
#include "adbc/result.hpp"

namespace store::adbc {

inline constexpr size_t default_partition_row_groups = 16; // 1,048,576 rows

// The partitions of a planned query, as texts.  Throws failure for a plan that is not partitioned.
std::vector<std::string> partitions_of(database &of, const std::string &text, const logical::query &planned,
                                       size_t row_groups);

// What a partition asks for.
struct partition {
  std::string query; // for messages
  logical::query plan;
  std::string table;    // as the plan names it
  std::string file;     // that is read in its place; empty for the whole table
  std::string database; // the only database with the table; empty for a table of files
  uint64_t rows = 0;    // of the table or file
  morsel_range row_groups;
};
// Throws failure for bytes that are none.
partition read_partition(std::span<const uint8_t> bytes);

// The query of a partition on the tables of a database.  Throws failure when the table is not there or has changed.
planned_query planned(const partition &part, database &of);

} // namespace store::adbc
