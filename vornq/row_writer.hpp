// Rows on standard output, in the form that was asked for, as they come.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sql/verify_rows.hpp"

namespace store {

enum class row_format {
  table, // aligned; what a cell shows can be typed into a condition
  csv,
  json, // one array of objects
  jsonl // an object in each line
};

// Throws store::error for a name that is none.
row_format parse_row_format(std::string_view name);

// A text as JSON has it.
void append_json_text(std::string &out, std::string_view text);

class row_writer {
public:
  row_writer(row_format format, std::span<const heading> columns);

  void write(row_block rows);
  void finish();

private:
  struct shown_column {
    heading of;
    std::string key; // json: the name with what stands around it
    bool is_number;
    size_t width = 0; // table
  };

  void write_heading();
  void write_table(row_block rows);
  void flush();

  row_format format_;
  std::vector<shown_column> columns_;
  std::string out_;
  bool begun_ = false;
  // table: the cells of a block, row by row.
  std::vector<std::string> texts_;
};

} // namespace store
