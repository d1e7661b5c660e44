#include "store/operator/join_prober.hpp"

#include <algorithm>
#include <atomic>

namespace store::exec {

using logical::join_kind;

vector nulls(representation form, size_t rows, arena &memory) {
  return with_type(form, [&]<class T>(T) {
    const std::span<T> out = memory.take<T>(rows);
    std::fill(out.begin(), out.end(), T{});
    const std::span<uint64_t> validity = memory.take<uint64_t>(words_of(rows));
    std::fill(validity.begin(), validity.end(), 0);
    return vector(out, validity.data());
  });
}

vector built_source::read(size_t column, std::span<const uint32_t> positions, arena &memory) {
  if (rows_.rows() == 0)
    return nulls(forms_[column], positions.size(), memory);
  return gathered(rows_.values(column), positions, memory, may_miss_);
}

join_prober::join_prober(join_parts &of, const query_run &run)
    : of_(of), is_interrupted_(run.is_interrupted), finder_(of.table->begin(run.library)), tests_(of.tests),
      is_partner_(of.is_partner ? of.is_partner->begin() : nullptr),
      is_first_partner_enough_((of.selects_left() && !of.builds_left) || of.kind == join_kind::mark ||
                               of.kind == join_kind::single),
      values_(of.probed_operands.size()) {
  for (const auto &operand : of.probed_operands)
    operands_.push_back(operand->begin());
}

void join_prober::probe(chunk &rows, const chunk_taker &take) {
  rows_ = &rows;
  memory_ = &rows.memory();
  for (size_t k = 0; k < operands_.size(); ++k)
    values_[k] = operands_[k]->run(rows);
  matches_ = find_matches();
  extended_ = rows;
  for (size_t k = of_.first_shown_operand; k < operands_.size(); ++k)
    extended_->add_column(values_[k]);

  const bool has_tests = !of_.tests.empty();
  const auto take_candidates = [&](std::span<const uint32_t> probed, std::span<const uint32_t> built) {
    if (has_tests)
      test_candidates(probed, built, take);
    else
      give_candidates(probed, built, take);
  };
  matched_ = {};
  if (is_first_partner_enough_ || of_.keeps_probed()) {
    matched_ = memory_->take<uint8_t>(rows.rows());
    std::fill(matched_.begin(), matched_.end(), 0);
    if (!has_tests)
      for (const uint32_t row : matches_.rows)
        matched_[row] = 1;
  }
  const bool is_selection = of_.selects_left() || of_.kind == join_kind::mark;
  if (has_tests || !is_selection)
    for_each_candidate(of_.keeps_probed() && !has_tests, take_candidates);
  if (of_.kind == join_kind::mark)
    give_marked(take);
  else if (of_.selects_left() && !of_.builds_left)
    give_selected(
        has_tests || of_.kind == join_kind::anti ? rows_by_partner(of_.kind == join_kind::semi) : matches_.rows, take);
  else if (of_.selects_left() && !has_tests)
    mark_groups();
  else if (of_.keeps_probed() && has_tests)
    if (const std::span<const uint32_t> alone = rows_by_partner(false); !alone.empty()) {
      const std::span<uint32_t> missing = memory_->take<uint32_t>(alone.size());
      std::fill(missing.begin(), missing.end(), no_row);
      give_candidates(alone, missing, take);
    }
}

join_table::matches join_prober::find_matches() {
  const std::span<const vector> keys = std::span(values_).first(of_.keys);
  if (of_.group_of_code.empty())
    return finder_->find(of_.packing.of_probed(keys, rows_->rows(), *memory_), *memory_);
  const std::span<uint32_t> rows = memory_->take<uint32_t>(rows_->rows());
  const std::span<uint32_t> groups = memory_->take<uint32_t>(rows_->rows());
  size_t count = 0;
  const auto add = [&](size_t row, uint32_t group) {
    rows[count] = static_cast<uint32_t>(row);
    groups[count] = group;
    count += group != no_row ? 1 : 0;
  };
  const std::span<const uint32_t> codes = keys[0].codes();
  const uint32_t *group_of_code = of_.group_of_code.data();
  if (keys[0].validity == nullptr)
    for (size_t row = 0; row < rows.size(); ++row)
      add(row, group_of_code[codes[row]]);
  else
    for (size_t row = 0; row < rows.size(); ++row)
      add(row, keys[0].is_null(row) ? of_.group_of_null : group_of_code[codes[row]]);
  return {rows.first(count), groups.first(count)};
}

template <class Take>
void join_prober::for_each_candidate(bool with_missing, const Take &take) {
  const uint32_t rows = rows_->rows();
  if (of_.table->groups_are_rows() && !with_missing) {
    if (!matches_.rows.empty())
      take(matches_.rows.size() == rows && of_.tests.empty() ? std::span<const uint32_t>() : matches_.rows,
           matches_.groups);
    return;
  }
  if (of_.table->groups_are_rows()) {
    const std::span<uint32_t> built = memory_->take<uint32_t>(rows);
    std::fill(built.begin(), built.end(), no_row);
    for (size_t i = 0; i < matches_.rows.size(); ++i)
      built[matches_.rows[i]] = matches_.groups[i];
    take(std::span<const uint32_t>(), built);
    return;
  }
  const std::span<uint32_t> probed = memory_->take<uint32_t>(chunk_rows);
  const std::span<uint32_t> built = memory_->take<uint32_t>(chunk_rows);
  size_t count = 0;
  const auto flush = [&] {
    const arena::mark begun = memory_->position();
    take(probed.first(count), built.first(count));
    memory_->rewind(begun);
    count = 0;
  };
  const auto add = [&](uint32_t row, std::span<const uint32_t> partners) {
    while (!partners.empty()) {
      const size_t some = std::min(partners.size(), chunk_rows - count);
      std::fill_n(probed.subspan(count).begin(), some, row);
      std::copy_n(partners.begin(), some, built.subspan(count).begin());
      partners = partners.subspan(some);
      count += some;
      if (count == chunk_rows)
        flush();
      if (is_first_partner_enough_ && matched_[row] != 0)
        break;
    }
  };
  uint32_t next = 0;
  const auto add_missing = [&](uint32_t end) {
    for (; with_missing && next < end; ++next)
      add(next, std::span(&no_row, 1));
  };
  for (size_t i = 0; i < matches_.rows.size(); ++i) {
    add_missing(matches_.rows[i]);
    add(matches_.rows[i], of_.table->rows_of(matches_.groups[i]));
    next = matches_.rows[i] + 1;
  }
  add_missing(rows);
  if (count != 0)
    flush();
}

void join_prober::make_candidates(std::span<const uint32_t> probed, std::span<const uint32_t> built) {
  if (is_interrupted_) // a row may have any number of partners
    throw interrupted();
  candidate_ = *extended_;
  if (!probed.empty())
    candidate_->keep(probed);
  const size_t source = candidate_->add_source(*of_.source, built);
  candidate_->drop_columns();
  add_side(of_.builds_left, source);
  add_side(!of_.builds_left, source);
  for (size_t k = of_.first_shown_operand; k < values_.size(); ++k) {
    candidate_->add_column_of(*extended_, rows_->columns() + k - of_.first_shown_operand);
    candidate_->add_column(source, of_.built_operands[k]);
  }
}

void join_prober::add_side(bool is_built, size_t source) {
  const size_t columns = is_built ? of_.built_columns() : of_.left_columns + of_.right_columns - of_.built_columns();
  for (size_t c = 0; c < columns; ++c)
    if (!is_built)
      candidate_->add_column_of(*extended_, c);
    else if (of_.built->is_needed(c))
      candidate_->add_column(source, c);
    else
      candidate_->add_missing_column();
}

void join_prober::give_candidates(std::span<const uint32_t> probed, std::span<const uint32_t> built,
                                  const chunk_taker &take) {
  if (of_.keeps_built())
    for (const uint32_t row : built)
      if (row != no_row)
        mark_built(row);
  make_candidates(probed, built);
  give_tested(take);
}

void join_prober::give_tested(const chunk_taker &take) {
  const size_t columns = of_.left_columns + of_.right_columns;
  if (candidate_->columns() == columns) {
    take(*candidate_);
    return;
  }
  tested_ = *candidate_;
  tested_->drop_columns();
  for (size_t c = 0; c < columns; ++c)
    tested_->add_column_of(*candidate_, c);
  take(*tested_);
}

void join_prober::test_candidates(std::span<const uint32_t> probed, std::span<const uint32_t> built,
                                  const chunk_taker &take) {
  make_candidates(probed, built);
  const size_t numbers = candidate_->add_source(*of_.source, consecutive(0, built.size(), *memory_));
  if (!tests_.keep(*candidate_))
    return;
  const std::span<const uint32_t> partners = candidate_->positions(numbers);
  if (of_.kind == join_kind::single) {
    const std::span<uint32_t> first_ones = memory_->take<uint32_t>(partners.size());
    size_t count = 0;
    for (uint32_t i = 0; i < partners.size(); ++i) {
      uint8_t &known = matched_[probed[partners[i]]];
      first_ones[count] = i;
      count += known == 0 ? 1 : 0;
      known = 1;
    }
    if (count == 0)
      return;
    candidate_->keep(first_ones.first(count));
  } else if (!matched_.empty()) {
    for (const uint32_t i : partners)
      matched_[probed[i]] = 1;
  }
  if (of_.marks_built())
    for (const uint32_t i : partners)
      mark_built(built[i]);
  if (!of_.selects_left() && of_.kind != join_kind::mark)
    give_tested(take);
}

std::span<const uint32_t> join_prober::rows_by_partner(bool with) {
  const std::span<uint32_t> out = memory_->take<uint32_t>(rows_->rows());
  size_t count = 0;
  for (uint32_t row = 0; row < rows_->rows(); ++row) {
    out[count] = row;
    count += (matched_[row] != 0) == with ? 1 : 0;
  }
  return out.first(count);
}

void join_prober::give_selected(std::span<const uint32_t> rows, const chunk_taker &take) {
  if (rows.empty())
    return;
  if (rows.size() != rows_->rows())
    rows_->keep(rows);
  take(*rows_);
}

void join_prober::give_marked(const chunk_taker &take) {
  const size_t rows = rows_->rows();
  const std::span<int64_t> values = memory_->take<int64_t>(rows);
  for (size_t row = 0; row < rows; ++row)
    values[row] = matched_[row];
  const std::span<uint64_t> validity = all_valid(*memory_, rows);
  if (of_.built->rows() != 0)
    set_unknown(validity);
  const vector marked(values, validity.data());
  rows_->add_column(has_null(marked) ? marked : vector(values));
  take(*rows_);
}

bool join_prober::has_null_key(size_t row) const {
  for (size_t k = 0; k < of_.keys; ++k)
    if (!of_.key_columns[k].nulls_match() && values_[k].is_null(row))
      return true;
  return false;
}

// The mark of a row without a partner is NULL if a condition is NULL for one of the built rows.
void join_prober::set_unknown(std::span<uint64_t> validity) {
  for (uint32_t row = 0; row < rows_->rows(); ++row) {
    if (matched_[row] != 0)
      continue;
    const bool has_null_operand = has_null_key(row);
    if (!of_.is_partner) {
      if (has_null_operand || !of_.rows_with_null.empty())
        set_null(validity, row);
      continue;
    }
    const auto is_unknown = [&](std::span<const uint32_t> built) {
      bool found = false;
      while (!found && !built.empty()) {
        const arena::mark begun = memory_->position();
        const std::span<const uint32_t> some = built.first(std::min<size_t>(built.size(), chunk_rows));
        const std::span<uint32_t> probed = memory_->take<uint32_t>(some.size());
        std::fill(probed.begin(), probed.end(), row);
        make_candidates(probed, some);
        found = has_null(is_partner_->run(*candidate_));
        memory_->rewind(begun);
        built = built.subspan(some.size());
      }
      return found;
    };
    bool is_null = false;
    if (has_null_operand) {
      const arena::mark begun = memory_->position();
      is_null = is_unknown(consecutive(0, of_.built->rows(), *memory_));
      memory_->rewind(begun);
    } else {
      is_null = is_unknown(of_.rows_with_null);
      const auto found = std::lower_bound(matches_.rows.begin(), matches_.rows.end(), row);
      if (!is_null && found != matches_.rows.end() && *found == row) {
        const auto index = static_cast<size_t>(found - matches_.rows.begin());
        is_null = is_unknown(of_.table->groups_are_rows() ? matches_.groups.subspan(index, 1)
                                                          : of_.table->rows_of(matches_.groups[index]));
      }
    }
    if (is_null)
      set_null(validity, row);
  }
}

// Either all rows of a group have a partner, or none.
void join_prober::mark_groups() {
  for (const uint32_t group : matches_.groups) {
    if (of_.table->groups_are_rows())
      mark_built(group);
    else if (const std::span<const uint32_t> rows = of_.table->rows_of(group);
             std::atomic_ref(of_.marks[rows.back()]).load(std::memory_order_relaxed) == 0)
      for (const uint32_t row : rows)
        mark_built(row);
  }
}

// Several threads may mark a row at once.
void join_prober::mark_built(uint32_t row) { std::atomic_ref(of_.marks[row]).store(1, std::memory_order_relaxed); }

} // namespace store::exec
