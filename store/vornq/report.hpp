// What vornq prints about columns and answers.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "store/vornq/measure.hpp"
#include "store/vornq/tables.hpp"

namespace store {

// A number with its digits in groups of three.
std::string grouped(uint64_t number);

void print_columns(const tables &from);

void print_answer(const std::string &question, uint64_t rows, const answer &a);

// An answer with its question, a condition or a join.
struct answered {
  std::string question;
  answer given;
};

// What was gained: the sizes of the columns, in the files too where these tell, and the times of the answers.
void print_summary(const tables &from, std::span<const answered> answers);

} // namespace store
