// What is known of a table without its rows: the numbers of rows and of different values, and the smallest and the
// largest value of each column in each row group.  With it another process plans queries and chooses row groups.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/encode/column.hpp"
#include "store/logical/expression.hpp"
#include "store/operator/table.hpp"
#include "store/value/value.hpp"

namespace store::sql {

class catalogue;

struct table_statistics {
  // Of the values of a column in a row group.
  struct zone {
    std::optional<uint64_t> nulls;
    logical::scalar low; // nothing where it is not known; nothing of rows that are all NULL
    logical::scalar high;
  };
  struct row_group {
    uint64_t rows = 0;
    std::vector<zone> columns;
  };
  uint64_t rows = 0;
  std::vector<column_info> columns;
  std::vector<std::optional<uint64_t>> distinct; // of the columns, perhaps estimated
  std::vector<row_group> row_groups;
};

// A key or a text as plans have it.
logical::scalar scalar_of(const cell &value, const column_type &type);

// Of a saved table or of Parquet files, whose values stay where they are; of another table all columns are loaded.
// Throws store::error where there is no such table.
table_statistics statistics_of(catalogue &tables, const std::string &name);

// The statistics as JSON text.  Values are as in plans:
//
//     {"rows": 9, "columns": [{"name": "a", "type": "BIGINT", "distinct": 5}],
//      "row_groups": [{"rows": 9, "columns": [{"min": {"integer": "1"}, "max": {"integer": "7"}, "nulls": 0}]}]}
//
// What is not known is left out.
std::string statistics_text(const table_statistics &of);

// A table of this name with the rows, columns and distinct values of a text.  Queries on it are planned and not run.
// Throws store::error for another text.
std::shared_ptr<exec::table> described_table(const std::string &name, std::string_view text);

} // namespace store::sql
