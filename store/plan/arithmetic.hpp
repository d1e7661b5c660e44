// Sums, differences and products of two numbers of each row, as doubles.
#pragma once

#include <cstdint>
#include <optional>

#include "store/plan/numbers.hpp"
#include <vorn/vorn.h>

namespace store {

// What is added of a row: the number of a column, or two numbers with an operator, of which one may be a constant.
struct term {
  struct operand {
    size_t column = 0; // among those of the numbers
    std::optional<double> constant = {};

    friend bool operator==(const operand &, const operand &) = default;
  };
  operand left = {};
  uint32_t opcode = VORN_OPC_NONE; // otherwise that of vorn_arith
  operand right = {};

  friend bool operator==(const term &, const term &) = default;
};

class computed_numbers {
public:
  // Where one number is NULL, so is the result.  The context outlives this.
  computed_numbers(const vorn_ctx &ctx, bool is_nullable) : ctx_(ctx), result_(real_form(is_nullable)) {}

  // The numbers of an operand are null where it is a constant, and otherwise doubles.
  const numbers &compute(const term &asked, const numbers *left, const numbers *right);

  const number_form &stored_as() const { return result_.stored_as(); }

private:
  static number_form real_form(bool is_nullable);

  const vorn_ctx &ctx_;
  numbers result_;
};

} // namespace store
