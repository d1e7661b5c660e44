// One row for each group of rows: what the group has in common, and counts, sums and averages over its rows.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "store/decode/row_source.hpp"
#include "store/plan/arithmetic.hpp"
#include "store/plan/group_input.hpp"
#include "store/plan/summation.hpp"
#include <vorn/vorn.h>

namespace store {

enum class function { count, sum, average };

class grouping final : public row_source {
public:
  // What is asked of a group; the sum and the average of a term.  NULL is not added, and the sum of nothing is NULL, as
  // is the average, the sum divided by the number of values as a double.
  struct aggregate {
    function what = function::count;
    size_t added = 0;   // among the terms
    uint32_t scale = 0; // of decimal numbers, which are added as integers
  };

  // The context outlives this.  The kinds are those of the columns that rows are grouped by, the forms those of the
  // columns of numbers.
  grouping(const vorn_ctx &ctx, std::unique_ptr<group_input> input, std::vector<value_kind> kinds,
           std::vector<aggregate> aggregates, std::vector<term> terms, const std::vector<number_form> &forms);

  uint64_t next() override;
  row_block rows() const override { return blocks; }

private:
  void add_all();
  const numbers &numbers_of(size_t added);
  cell value(const aggregate &asked, uint32_t group) const;

  const vorn_ctx &ctx;
  std::unique_ptr<group_input> input;
  std::vector<value_kind> kinds;
  std::vector<aggregate> aggregates;

  group_counts counts; // rows

  // By term.
  std::vector<term> terms;
  std::vector<computed_numbers> computed;
  std::vector<summation> sums;

  bool is_added = false;
  uint32_t next_group = 0;
  std::vector<std::vector<cell>> cells;
  std::vector<std::span<const cell>> blocks;
};

} // namespace store
