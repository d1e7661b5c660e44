// One row for each group of rows: what the group has in common, and counts, sums and averages over its rows.
//
// Threads take batches by turns.  Each counts rows and adds integers by groups of its own, which are put together at
// the end.  A sum of reals depends on the order of its additions: of these, threads find the groups and the numbers, and
// one adds them in the order of the rows, so that the sums are the same to the bit on any number of threads.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
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

  // The context outlives this.  The input has rows of so many batches.  The kinds are those of the columns that rows
  // are grouped by, the forms those of the columns of numbers.
  grouping(const execution &on, std::unique_ptr<group_input> input, size_t batches, std::vector<value_kind> kinds,
           std::vector<aggregate> aggregates, std::vector<term> terms, std::vector<number_form> forms);

  uint64_t next() override;
  row_block rows() const override { return blocks; }

private:
  // The groups of a thread, which have numbers of their own, and what it has added.
  struct share {
    std::unique_ptr<group_input> input;
    group_counts counts; // rows
    // By term.
    std::vector<computed_numbers> computed;
    std::vector<summation> sums;
    std::vector<uint32_t> groups_of_first; // the same groups in the first thread's share

    void resize();
  };
  // Reals of some rows of a thread, which the first one adds.
  struct kept_step {
    size_t thread;
    std::optional<std::vector<uint32_t>> groups; // nothing where there is but one
    std::vector<numbers> reals;                  // by term; those of integers are empty
  };

  std::unique_ptr<share> made_share(std::unique_ptr<group_input> input) const;
  void add_all();
  std::vector<kept_step> add_batch(size_t thread, size_t batch);
  void add_reals(const kept_step &step);
  void find_groups_of_first(share &other);
  const numbers &numbers_of(share &own, size_t added) const;
  bool is_kept(size_t added) const { return shares.all().size() > 1 && shares.first().sums[added].stored_as().is_real; }
  cell value(const aggregate &asked, uint32_t group) const;

  execution run;
  size_t batches;
  std::vector<value_kind> kinds;
  std::vector<aggregate> aggregates;
  std::vector<term> terms;
  std::vector<number_form> forms;
  per_thread<share> shares;

  bool is_added = false;
  uint32_t next_group = 0;
  std::vector<std::vector<cell>> cells;
  std::vector<std::span<const cell>> blocks;
};

} // namespace store
