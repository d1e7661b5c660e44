// What vornq prints about columns and answers.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>

#include "store/duckdb/table_file.hpp"
#include "store/query/filter.hpp"
#include "store/vornq/measure.hpp"

namespace store {

// A number with its digits in groups of three.
std::string grouped(uint64_t number);

// `reasons` says of the columns that are not stored why not.
void print_columns(const table_file &file, const column_map &loaded, const std::map<std::string, std::string> &reasons);

void print_answer(const std::string &condition, uint64_t rows, const answer &a);

// An answer with its condition.
struct answered {
  std::string condition;
  answer given;
};

// What was gained: the sizes of the columns, in the files too where these tell, and the times of the answers.
void print_summary(const table_file &file, const column_map &loaded, std::span<const answered> answers);

} // namespace store
