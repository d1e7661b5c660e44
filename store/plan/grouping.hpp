// One row for each group of rows: what the group has in common, and counts, sums and averages over its rows.
//
// Threads take batches by turns.  Each counts rows and adds integers by groups of its own, which are put together at
// the end.  A sum of reals depends on the order of its additions: threads find the groups and the numbers of a batch
// at once but add the reals in the order of the batches, so that the sums are the same to the bit on any number of
// them.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "store/decode/row_source.hpp"
#include "store/plan/arithmetic.hpp"
#include "store/plan/group_input.hpp"
#include "store/plan/summation.hpp"
#include "store/run/execution.hpp"
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

  // The context outlives this.  The input has rows of this many batches.  The kinds are those of the columns that rows
  // are grouped by, the forms those of the columns of numbers.  Groups come in the order of their columns if they are
  // to, which the input then knows.
  grouping(const execution &on, std::unique_ptr<group_input> input, size_t batches, std::vector<value_kind> kinds,
           std::vector<aggregate> aggregates, std::vector<term> terms, std::vector<number_form> forms, bool in_order,
           plan_step *explained);

  uint64_t next() override;
  row_block rows() const override { return blocks_; }

private:
  // Reals of some rows.  Their memory is used again.
  struct kept_step {
    bool is_grouped = false;
    std::vector<uint32_t> groups;
    std::vector<numbers> reals; // by term; those of integers are empty
  };
  // Groups with numbers of their own, and what was added: of all rows, or of those of a thread.
  struct share {
    std::unique_ptr<group_input> input;
    group_counts counts; // rows
    // By term.
    std::vector<computed_numbers> computed;
    std::vector<summation> sums;

    uint32_t groups_at_first = 0; // before the first row
    uint64_t rows = 0;

    // Of a thread: the numbers of the groups among those of all rows, and the reals of the last batch.
    std::vector<uint32_t> groups_of_all;
    std::vector<kept_step> kept;

    void resize();
    // Do most rows have a group for themselves?
    bool has_own_groups() const { return input->group_count() > groups_at_first + rows / 4; }
  };

  std::unique_ptr<share> made_share(std::unique_ptr<group_input> input) const;
  void add_all();
  void spread(size_t first, size_t end);
  size_t add_batch(share &own, size_t batch);
  void keep_reals(share &own, uint32_t rows, size_t step);
  void add_reals(share &own, size_t steps);
  void find_groups_of_all(share &own);
  const numbers &numbers_of(share &own, size_t added) const;
  // Is a term added by one thread, whichever found its numbers?
  bool is_ordered(size_t added) const { return all_->sums[added].stored_as().is_real; }
  cell value(const aggregate &asked, uint32_t group) const;

  execution run_;
  size_t batches_;
  std::vector<value_kind> kinds_;
  std::vector<aggregate> aggregates_;
  std::vector<term> terms_;
  std::vector<number_form> forms_;
  plan_step *told_; // null where nothing is explained
  std::unique_ptr<share> all_;
  per_thread<share> shares_;

  bool is_added_ = false;
  bool is_ordered_by_columns_;
  std::vector<uint32_t> order_;
  uint32_t next_group_ = 0;
  std::vector<std::vector<cell>> cells_;
  std::vector<std::span<const cell>> blocks_;
};

} // namespace store
