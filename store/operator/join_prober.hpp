// The probe of a join: chunks of the probed side become chunks of the join.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "store/chunk/kept_rows.hpp"
#include "store/evaluate/evaluator.hpp"
#include "store/logical/plan.hpp"
#include "store/operator/join_table.hpp"
#include "store/operator/relation.hpp"

namespace store::exec {

// A column of NULLs.
vector nulls(representation form, size_t rows, arena &memory);

// The rows of the built side.  With `may_miss`, no_row is a row of NULLs.
class built_source final : public row_source {
public:
  built_source(const kept_rows &rows, std::vector<representation> forms, bool may_miss)
      : rows_(rows), forms_(std::move(forms)), may_miss_(may_miss) {}
  vector read(size_t column, std::span<const uint32_t> positions, arena &memory) override;

private:
  const kept_rows &rows_;
  std::vector<representation> forms_; // in the form of the join's result
  bool may_miss_;
};

// The data of a join that its threads share.  Partners are pairs of rows with equal keys for which all tests are true.
struct join_parts {
  using expressions = std::vector<std::shared_ptr<const bound_expression>>;

  logical::join_kind kind = logical::join_kind::inner;
  bool builds_left = false;
  size_t left_columns = 0;
  size_t right_columns = 0;
  size_t built_columns() const { return builds_left ? left_columns : right_columns; }
  // Does the join give rows without a partner, with NULLs?
  bool keeps_probed() const { return is_kept(!builds_left); }
  bool keeps_built() const { return is_kept(builds_left); }
  // Does the join give each row of the left side at most once, and no column of the right side?
  bool selects_left() const { return kind == logical::join_kind::semi || kind == logical::join_kind::anti; }
  bool marks_built() const { return keeps_built() || (selects_left() && builds_left); }

  // The operands of the conditions.  The operands of keys come first.
  size_t keys = 0;
  expressions probed_operands;
  std::vector<size_t> built_operands; // columns of the built rows
  // A candidate has the columns of the left side, the columns of the right side, and the probed and built operands of
  // the conditions from this condition on.
  size_t first_shown_operand = 0;
  expressions tests;
  // Do all conditions hold?  NULL if this is not known.  Only for mark joins that need it.
  std::shared_ptr<const bound_expression> is_partner;

  std::vector<key_column> key_columns;
  key_packing packing;
  std::unique_ptr<const join_table> table;
  std::vector<uint32_t> group_of_code; // for each probed code; empty if groups are looked up by value
  uint32_t group_of_null = no_row;

  std::unique_ptr<const kept_rows> built;
  std::unique_ptr<built_source> source;
  std::vector<uint32_t> rows_with_null; // of the built side, in a key; for mark joins
  std::vector<uint8_t> marks;           // of the built rows: 1 with a partner

private:
  bool is_kept(bool left) const {
    using logical::join_kind;
    return kind == join_kind::full || kind == (left ? join_kind::left : join_kind::right) ||
           (kind == join_kind::single && left);
  }
};

// The probe of one thread.
class join_prober {
public:
  join_prober(join_parts &of, const query_run &run);
  // Throws interrupted when the query is interrupted.
  void probe(chunk &rows, const chunk_taker &take);

private:
  join_table::matches find_matches();
  // Calls a function with the probed and the built rows of some thousand candidates at a time.  An empty list of probed
  // rows means all rows in their order.
  template <class Take>
  void for_each_candidate(bool with_missing, const Take &take);
  void make_candidates(std::span<const uint32_t> probed, std::span<const uint32_t> built);
  void add_side(bool is_built, size_t source);
  void give_candidates(std::span<const uint32_t> probed, std::span<const uint32_t> built, const chunk_taker &take);
  void test_candidates(std::span<const uint32_t> probed, std::span<const uint32_t> built, const chunk_taker &take);
  void give_tested(const chunk_taker &take);

  // The rows with a partner, or the rows without a partner.
  std::span<const uint32_t> rows_by_partner(bool with);
  void give_selected(std::span<const uint32_t> rows, const chunk_taker &take);
  void give_marked(const chunk_taker &take);
  bool has_null_key(size_t row) const;
  void set_unknown(std::span<uint64_t> validity);
  void mark_groups();
  void mark_built(uint32_t row);

  join_parts &of_;
  const std::atomic<bool> &is_interrupted_;
  std::unique_ptr<join_table::finder> finder_;
  std::vector<std::unique_ptr<evaluator>> operands_;
  row_condition tests_;
  std::unique_ptr<evaluator> is_partner_;
  bool is_first_partner_enough_;

  // Of the chunk that is probed.
  chunk *rows_ = nullptr;
  arena *memory_ = nullptr;
  std::vector<vector> values_; // of operands
  join_table::matches matches_;
  std::span<uint8_t> matched_;    // 1 for a row with a partner; empty if not needed
  std::optional<chunk> extended_; // with the columns of operands
  std::optional<chunk> candidate_;
  std::optional<chunk> tested_;
};

} // namespace store::exec
