// What vornq prints about columns and answers.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#include "sql/verify_rows.hpp"
#include "vornq/measure.hpp"
#include "vornq/tables.hpp"

namespace store {

// A number with its digits in groups of three.
std::string grouped(uint64_t number);

// "one thread each" or the like, of the kernels and DuckDB.
std::string threads_named(size_t threads);

void print_columns(const tables &from);

void print_saved(const tables &from, const std::filesystem::path &path, uint64_t bytes);

void print_answer(const std::string &question, uint64_t rows, const answer &a);

void print_explanation(const explanation &of);

// What became of rows or groups that were shown, perhaps in an order that could not be compared.
void print_shown(const verification &rows, std::string_view unit, uint64_t shown, bool ends_at_limit, bool is_compared,
                 bool is_order_open);

// An answer with its question, a condition, a join or a grouping.
struct answered {
  std::string question;
  answer given;
};

// What was gained: the sizes of the columns, in the files too where these tell, and the times of the answers.
void print_summary(const tables &from, std::span<const answered> answers, size_t threads);

} // namespace store
