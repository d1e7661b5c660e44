// Joins.  One side is built: its rows are kept and put into a table by their keys.  The rows of the other side, the
// probed side, are looked up in this table.
#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "store/logical/sql.hpp"
#include "store/logical/text.hpp"
#include "store/operator/join_prober.hpp"
#include "store/operator/operators.hpp"

namespace store::exec {

using logical::join_kind;
using logical::operation;

namespace {

bool is_key(const logical::join_condition &c) {
  return c.comparison == operation::equal || c.comparison == operation::not_distinct_from;
}

logical::expression column_expression(size_t index, const logical::sql_type &type) {
  logical::expression out;
  out.what = operation::column;
  out.type = type;
  out.index = index;
  out.sql = fmt::format("c{}", index);
  return out;
}

// A column that is NULL for rows without a partner.
layout with_nulls(layout of) {
  of.has_nulls = true;
  // A dictionary without codes has no code for the rows with NULL.
  if (of.form == representation::codes && of.entries->codes() == 0) {
    of.form = plain_representation(of.held());
    of.entries = nullptr;
  }
  return of;
}

// Building a row costs a few times as much as looking one up.  A join that builds the side that it does not usually
// build must also mark or keep rows.
bool is_left_built(join_kind kind, double left, double right) {
  switch (kind) {
  case join_kind::inner:
  case join_kind::full:
    return left < right;
  case join_kind::semi:
  case join_kind::anti:
    return 2 * left < right;
  case join_kind::left:
    return 8 * left < right;
  case join_kind::right:
    return left <= 8 * right;
  case join_kind::mark:
  case join_kind::single:
    break;
  }
  return false;
}

void drop_nulls(chunk &rows, size_t column) {
  const vector &values = rows.column(column);
  if (!has_null(values))
    return;
  const std::span<uint32_t> left = rows.memory().take<uint32_t>(rows.rows());
  size_t count = 0;
  for (uint32_t row = 0; row < values.rows; ++row) {
    left[count] = row;
    count += values.is_null(row) ? 0 : 1;
  }
  rows.keep(left.first(count));
}

class join final : public relation {
public:
  join(const logical::plan &of, relation_ptr left, relation_ptr right, const column_mask &needed,
       scalar_functions &functions);

  double estimated_rows() const override { return estimated_rows_; }
  std::vector<const relation *> children() const override { return {left_.get(), right_.get()}; }
  std::string description() const override;
  size_t morsels() const override;

private:
  class probe_stream;
  class kept_stream;
  class empty_stream;

  relation &built() const { return parts_.builds_left ? *left_ : *right_; }
  relation &probed() const { return parts_.builds_left ? *right_ : *left_; }
  // No row of the probed side is needed.
  bool is_empty() const {
    return parts_.built->rows() == 0 && !parts_.marks_built() &&
           (parts_.kind == join_kind::inner || parts_.kind == join_kind::semi);
  }

  void bind_conditions(std::vector<logical::join_condition> conditions,
                       const std::optional<logical::expression> &residual, scalar_functions &functions);
  void bind_tests(std::span<const logical::join_condition> conditions,
                  const std::optional<logical::expression> &residual, scalar_functions &functions);
  void choose_kept_columns(const std::optional<logical::expression> &residual);
  void set_layouts();
  double estimated_pairs() const;

  void prepare(const query_run &run) override;
  void build(const query_run &run);
  std::vector<column_filter> filters_of(bool left) const;
  void add_key_filters(std::vector<column_filter> &to, const query_run &run) const;
  void make_table(const query_run &run);
  void find_groups_of_codes(const query_run &run);
  void probe_all(const query_run &run);
  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override;

  relation_ptr left_;
  relation_ptr right_;
  column_mask needed_;
  join_parts parts_;
  double estimated_rows_ = 0;
  std::vector<std::optional<size_t>> probed_key_columns_; // empty for a computed key
  // The columns of the built rows: the columns of the built side, and the operands of conditions that are not columns.
  std::vector<layout> built_layouts_;
  column_mask built_needed_;
  join_parts::expressions computed_operands_;
  // Only after the probe it is known which built rows have a partner.  If this is needed, the pairs are kept, then the
  // built rows that the join also gives.
  static constexpr size_t kept_morsel_rows = 16 * chunk_rows;
  std::unique_ptr<kept_rows> pairs_;
  std::vector<uint32_t> selected_;
};

join::join(const logical::plan &of, relation_ptr left, relation_ptr right, const column_mask &needed,
           scalar_functions &functions)
    : relation("join"), left_(std::move(left)), right_(std::move(right)), needed_(needed) {
  parts_.kind = of.what == logical::plan_kind::join ? of.join : join_kind::inner;
  parts_.left_columns = left_->columns().size();
  parts_.right_columns = right_->columns().size();
  parts_.builds_left = is_left_built(parts_.kind, left_->estimated_rows(), right_->estimated_rows());
  built_layouts_ = built().columns();
  bind_conditions(of.conditions, of.residual, functions);
  choose_kept_columns(of.residual);
  set_layouts();
}

void join::bind_conditions(std::vector<logical::join_condition> conditions,
                           const std::optional<logical::expression> &residual, scalar_functions &functions) {
  std::stable_partition(conditions.begin(), conditions.end(), is_key);
  parts_.keys = static_cast<size_t>(std::count_if(conditions.begin(), conditions.end(), is_key));
  for (const logical::join_condition &c : conditions) {
    const logical::expression &of_built = parts_.builds_left ? c.left : c.right;
    const logical::expression &of_probed = parts_.builds_left ? c.right : c.left;
    parts_.probed_operands.push_back(exec::bind(of_probed, probed().columns(), functions, probed().estimated_rows()));
    if (of_built.what == operation::column) {
      parts_.built_operands.push_back(of_built.index);
    } else {
      computed_operands_.push_back(exec::bind(of_built, built().columns(), functions, built().estimated_rows()));
      parts_.built_operands.push_back(built_layouts_.size());
      built_layouts_.push_back(computed_operands_.back()->result());
    }
  }
  for (size_t k = 0; k < parts_.keys; ++k) {
    const logical::expression &of_probed = parts_.builds_left ? conditions[k].right : conditions[k].left;
    probed_key_columns_.push_back(of_probed.what == operation::column ? std::optional(of_probed.index) : std::nullopt);
    parts_.key_columns.emplace_back(built_layouts_[parts_.built_operands[k]], parts_.probed_operands[k]->result(),
                                    conditions[k].comparison == operation::not_distinct_from);
  }
  bind_tests(conditions, residual, functions);
}

void join::bind_tests(std::span<const logical::join_condition> conditions,
                      const std::optional<logical::expression> &residual, scalar_functions &functions) {
  const bool is_simple = conditions.size() == parts_.keys && !residual;
  const bool knows_unknown = parts_.kind == join_kind::mark && !(is_simple && conditions.size() == 1);
  parts_.first_shown_operand = knows_unknown ? 0 : parts_.keys;

  std::vector<layout> layouts = left_->columns();
  layouts.insert(layouts.end(), right_->columns().begin(), right_->columns().end());
  logical::expression all;
  all.what = operation::all_of;
  all.type = logical::sql_type("BOOLEAN");
  for (size_t k = parts_.first_shown_operand; k < conditions.size(); ++k) {
    logical::expression compared;
    compared.what = conditions[k].comparison;
    compared.type = logical::sql_type("BOOLEAN");
    const logical::expression of_probed =
        column_expression(layouts.size(), (parts_.builds_left ? conditions[k].right : conditions[k].left).type);
    const logical::expression of_built =
        column_expression(layouts.size() + 1, (parts_.builds_left ? conditions[k].left : conditions[k].right).type);
    compared.children = parts_.builds_left ? std::vector{of_built, of_probed} : std::vector{of_probed, of_built};
    compared.sql =
        fmt::format("({} {} {})", compared.children[0].sql, logical::sign_of(compared.what), compared.children[1].sql);
    layouts.push_back(parts_.probed_operands[k]->result());
    layouts.push_back(built_layouts_[parts_.built_operands[k]]);
    all.children.push_back(std::move(compared));
  }
  if (residual)
    all.children.push_back(*residual);

  const double rows = std::max(left_->estimated_rows(), right_->estimated_rows());
  const size_t key_tests = parts_.keys - parts_.first_shown_operand;
  for (size_t i = key_tests; i < all.children.size(); ++i)
    parts_.tests.push_back(exec::bind(all.children[i], layouts, functions, rows));
  if (!knows_unknown)
    return;
  for (const logical::expression &e : all.children)
    all.sql += (all.sql.empty() ? "(" : " AND ") + e.sql;
  all.sql += ")";
  if (all.children.size() == 1)
    all = logical::expression(all.children[0]);
  parts_.is_partner = exec::bind(all, layouts, functions, rows);
}

void join::choose_kept_columns(const std::optional<logical::expression> &residual) {
  built_needed_.assign(built_layouts_.size(), false);
  const size_t first = parts_.builds_left ? 0 : parts_.left_columns; // of the built side
  const size_t columns = parts_.built_columns();
  for (size_t c = 0; c < columns && first + c < needed_.size(); ++c)
    if (parts_.builds_left || !(parts_.selects_left() || parts_.kind == join_kind::mark))
      built_needed_[c] = needed_[first + c];
  if (residual)
    for_each_column(*residual, [&](size_t c) {
      if (c >= first && c < first + columns)
        built_needed_[c - first] = true;
    });
  for (const size_t column : parts_.built_operands)
    built_needed_[column] = true;
}

void join::set_layouts() {
  columns_ = left_->columns();
  if (!parts_.selects_left() && parts_.kind != join_kind::mark)
    columns_.insert(columns_.end(), right_->columns().begin(), right_->columns().end());
  const bool left_misses = parts_.kind == join_kind::right || parts_.kind == join_kind::full;
  const bool right_misses = parts_.keeps_probed() || parts_.keeps_built() ? parts_.kind != join_kind::right : false;
  for (size_t c = 0; c < columns_.size(); ++c)
    if (c < parts_.left_columns ? left_misses : right_misses)
      columns_[c] = with_nulls(columns_[c]);
  if (parts_.kind == join_kind::mark) {
    layout mark;
    mark.type = logical::sql_type("BOOLEAN");
    mark.bounds = number_bounds{0, 1};
    mark.distinct = 2;
    columns_.push_back(mark);
  }

  const double left = left_->estimated_rows();
  const double right = right_->estimated_rows();
  const double pairs = estimated_pairs();
  switch (parts_.kind) {
  case join_kind::inner:
    estimated_rows_ = pairs;
    break;
  case join_kind::left:
    estimated_rows_ = std::max(pairs, left);
    break;
  case join_kind::right:
    estimated_rows_ = std::max(pairs, right);
    break;
  case join_kind::full:
    estimated_rows_ = std::max({pairs, left, right});
    break;
  case join_kind::semi:
    estimated_rows_ = std::min(pairs, left);
    break;
  case join_kind::anti:
    estimated_rows_ = std::max(left - pairs, left / 10);
    break;
  case join_kind::mark:
  case join_kind::single:
    estimated_rows_ = left;
    break;
  }
}

// The estimate assumes that each key of the side with fewer keys is a key of the other side.
double join::estimated_pairs() const {
  const double built_rows = built().estimated_rows();
  const double probed_rows = probed().estimated_rows();
  double built_keys = 1;
  double probed_keys = 1;
  for (size_t k = 0; k < parts_.keys; ++k) {
    const auto values = [](const layout &of, double rows) {
      return of.distinct ? static_cast<double>(*of.distinct) : rows;
    };
    built_keys *= values(built_layouts_[parts_.built_operands[k]], built_rows);
    probed_keys *= values(parts_.probed_operands[k]->result(), probed_rows);
  }
  // Several columns together have fewer values than the product.
  if (parts_.keys > 1) {
    built_keys = std::min(built_keys, built_rows);
    probed_keys = std::min(probed_keys, probed_rows);
  }
  return built_rows * probed_rows / std::max({built_keys, probed_keys, 1.0});
}

std::string join::description() const {
  std::string out =
      fmt::format("{}, {} side built", logical::name_of(parts_.kind), parts_.builds_left ? "left" : "right");
  if (parts_.table)
    out += fmt::format(", {}", parts_.table->description());
  if (!parts_.group_of_code.empty())
    out += ", looked up by codes";
  return out;
}

void join::prepare(const query_run &run) {
  build(run);
  make_table(run);
  metrics_.bytes = parts_.table->bytes();
  parts_.marks.assign(parts_.marks_built() ? parts_.built->rows() : 0, 0);
  pairs_ = nullptr;
  selected_.clear();
  if (is_empty())
    return;
  std::vector<column_filter> of_probed = filters_of(!parts_.builds_left);
  add_key_filters(of_probed, run);
  probed().open(run, std::move(of_probed));
  if (parts_.marks_built())
    probe_all(run);
}

// The filters of the join that also filter one side.  Each row of the join has a row of this side.
std::vector<column_filter> join::filters_of(bool left) const {
  const bool misses_left = parts_.kind == join_kind::right || parts_.kind == join_kind::full;
  const bool has_right = parts_.kind == join_kind::inner || parts_.kind == join_kind::right;
  std::vector<column_filter> out;
  if (left ? misses_left : !has_right)
    return out;
  for (const column_filter &f : filters())
    if ((f.column < parts_.left_columns) == left)
      out.push_back({left ? f.column : f.column - parts_.left_columns, f.keys});
  return out;
}

// If the join gives no probed rows without a partner, they need not be read.
void join::add_key_filters(std::vector<column_filter> &to, const query_run &run) const {
  if (parts_.keeps_probed() || parts_.kind == join_kind::mark ||
      (parts_.kind == join_kind::anti && !parts_.builds_left))
    return;
  for (size_t k = 0; k < parts_.keys; ++k)
    if (probed_key_columns_[k])
      if (auto keys = make_key_filter(parts_.key_columns[k], parts_.built->values(parts_.built_operands[k]),
                                      probed().estimated_rows(), run.memory[0]))
        to.push_back({*probed_key_columns_[k], std::move(keys)});
}

void join::build(const query_run &run) {
  built().open(run, filters_of(parts_.builds_left));
  const size_t threads = run.threads.threads();
  row_collector collector(built_layouts_, built_needed_, threads);
  std::vector<std::vector<std::unique_ptr<evaluator>>> operands(threads);
  // A row with NULL in its key has no partner.  It is kept only if the join gives such rows.
  const bool drops_nulls = !parts_.keeps_built() && parts_.kind != join_kind::mark &&
                           !(parts_.kind == join_kind::anti && parts_.builds_left);
  run_all(built(), run, [&](size_t thread, size_t morsel, chunk &rows) {
    if (operands[thread].size() != computed_operands_.size())
      for (const auto &operand : computed_operands_)
        operands[thread].push_back(operand->begin());
    for (const auto &operand : operands[thread])
      rows.add_column(operand->run(rows));
    for (size_t k = 0; k < parts_.keys && drops_nulls; ++k)
      if (!parts_.key_columns[k].nulls_match())
        drop_nulls(rows, parts_.built_operands[k]);
    if (rows.rows() != 0)
      collector.append(thread, morsel, rows);
  });
  parts_.built = std::make_unique<kept_rows>(collector.finish());
  const bool may_miss = parts_.keeps_probed();
  std::vector<representation> forms;
  for (size_t c = 0; c < built_layouts_.size(); ++c) {
    const bool is_shown = !parts_.selects_left() && parts_.kind != join_kind::mark && c < parts_.built_columns();
    forms.push_back(is_shown ? columns_[(parts_.builds_left ? 0 : parts_.left_columns) + c].form
                             : built_layouts_[c].form);
  }
  parts_.source = std::make_unique<built_source>(*parts_.built, std::move(forms), may_miss);
}

void join::make_table(const query_run &run) {
  arena &memory = run.memory[0];
  const arena::mark begun = memory.position();
  std::vector<vector> columns;
  for (size_t k = 0; k < parts_.keys; ++k)
    columns.push_back(parts_.built->values(parts_.built_operands[k]));
  parts_.packing = key_packing(parts_.key_columns, columns, memory);
  const bool is_first_enough =
      parts_.tests.empty() && (((parts_.selects_left() || parts_.kind == join_kind::mark) && !parts_.builds_left) ||
                               parts_.kind == join_kind::single);
  parts_.table =
      make_join_table(run.library, parts_.packing, columns, parts_.built->rows(),
                      is_first_enough ? group_rows::first : group_rows::all, probed().estimated_rows(), memory);
  parts_.rows_with_null.clear();
  if (parts_.kind == join_kind::mark)
    for (uint32_t row = 0; row < parts_.built->rows(); ++row)
      for (size_t k = 0; k < parts_.keys; ++k)
        if (!parts_.key_columns[k].nulls_match() && columns[k].is_null(row)) {
          parts_.rows_with_null.push_back(row);
          break;
        }
  memory.rewind(begun);
  find_groups_of_codes(run);
}

void join::find_groups_of_codes(const query_run &run) {
  parts_.group_of_code.clear();
  if (parts_.keys != 1 || parts_.key_columns[0].probed().form != representation::codes)
    return;
  const uint64_t codes = parts_.key_columns[0].probed().entries->codes();
  if (static_cast<double>(codes) > std::max<double>(chunk_rows, probed().estimated_rows()))
    return;
  const std::unique_ptr<join_table::finder> finder = parts_.table->begin(run.library);
  arena &memory = run.memory[0];
  const auto append_groups = [&](const vector &keys) {
    const join_table::matches found =
        finder->find(parts_.packing.of_probed(std::span(&keys, 1), keys.rows, memory), memory);
    const size_t before = parts_.group_of_code.size();
    parts_.group_of_code.resize(before + keys.rows, no_row);
    for (size_t i = 0; i < found.rows.size(); ++i)
      parts_.group_of_code[before + found.rows[i]] = found.groups[i];
  };
  const arena::mark begun = memory.position();
  for (uint64_t first = 0; first < codes; first += chunk_rows) {
    append_groups(vector(consecutive(first, std::min<uint64_t>(chunk_rows, codes - first), memory)));
    memory.rewind(begun);
  }
  if (codes == 0)
    return;
  constexpr uint64_t only_null = 0;
  append_groups(vector(consecutive(0, 1, memory), &only_null));
  parts_.group_of_null = parts_.group_of_code.back();
  parts_.group_of_code.pop_back();
  memory.rewind(begun);
}

void join::probe_all(const query_run &run) {
  const size_t threads = run.threads.threads();
  std::vector<std::unique_ptr<join_prober>> probers(threads);
  row_collector collector(columns_, needed_, threads);
  run_all(probed(), run, [&](size_t thread, size_t morsel, chunk &rows) {
    if (!probers[thread])
      probers[thread] = std::make_unique<join_prober>(parts_, run);
    probers[thread]->probe(rows, [&](chunk &pairs) { collector.append(thread, morsel, pairs); });
  });
  pairs_ = std::make_unique<kept_rows>(collector.finish());
  const uint8_t wanted = parts_.kind == join_kind::semi ? 1 : 0;
  for (uint32_t row = 0; row < parts_.marks.size(); ++row)
    if (parts_.marks[row] == wanted)
      selected_.push_back(row);
}

class join::probe_stream final : public stream {
public:
  probe_stream(join &of, const query_run &run, arena &memory)
      : stream(of.counted(run)), rows_(of.probed().begin(run, memory)), prober_(of.parts_, run) {}

private:
  void produce(size_t morsel, const chunk_taker &take) override {
    rows_->give(morsel, [&](chunk &rows) { prober_.probe(rows, take); });
  }

  std::unique_ptr<stream> rows_;
  join_prober prober_;
};

// The kept pairs, then the selected rows of the built side with NULLs for the other side.
class join::kept_stream final : public stream {
public:
  kept_stream(join &of, const query_run &run, arena &memory) : stream(of.counted(run)), of_(of), memory_(memory) {}

  static size_t morsels_of(size_t rows) { return (rows + kept_morsel_rows - 1) / kept_morsel_rows; }

private:
  void produce(size_t morsel, const chunk_taker &take) override {
    const size_t of_pairs = morsels_of(of_.pairs_->rows());
    const bool gives_pairs = morsel < of_pairs;
    const size_t rows = gives_pairs ? of_.pairs_->rows() : of_.selected_.size();
    const size_t begin = (gives_pairs ? morsel : morsel - of_pairs) * kept_morsel_rows;
    const size_t end = std::min(rows, begin + kept_morsel_rows);
    for (size_t first = begin; first < end; first += chunk_rows) {
      const arena::mark begun = memory_.position();
      const size_t count = std::min<size_t>(chunk_rows, end - first);
      chunk out(memory_, static_cast<uint32_t>(count));
      if (gives_pairs)
        add_pairs(out, first);
      else
        add_selected(out, first);
      take(out);
      memory_.rewind(begun);
    }
  }

  void add_pairs(chunk &out, size_t first) {
    const size_t source = out.add_source(*of_.pairs_, consecutive(first, out.rows(), memory_));
    for (size_t c = 0; c < of_.columns_.size(); ++c)
      if (of_.needed_[c])
        out.add_column(source, c);
      else
        out.add_missing_column();
  }

  void add_selected(chunk &out, size_t first) {
    const join_parts &parts = of_.parts_;
    const size_t source = out.add_source(*parts.source, std::span(of_.selected_).subspan(first, out.rows()));
    const size_t first_built = parts.builds_left ? 0 : parts.left_columns;
    for (size_t c = 0; c < of_.columns_.size(); ++c)
      if (!of_.needed_[c])
        out.add_missing_column();
      else if (c >= first_built && c < first_built + parts.built_columns())
        out.add_column(source, c - first_built);
      else
        out.add_column(nulls(of_.columns_[c].form, out.rows(), memory_));
  }

  join &of_;
  arena &memory_;
};

// The stream of a join whose probed side is not opened.
class join::empty_stream final : public stream {
public:
  using stream::stream;

private:
  void produce(size_t, const chunk_taker &) override {}
};

size_t join::morsels() const {
  if (parts_.marks_built())
    return kept_stream::morsels_of(pairs_->rows()) + kept_stream::morsels_of(selected_.size());
  return is_empty() ? 0 : probed().morsels();
}

std::unique_ptr<stream> join::made_stream(const query_run &run, arena &memory) {
  if (parts_.marks_built())
    return std::make_unique<kept_stream>(*this, run, memory);
  if (is_empty())
    return std::make_unique<empty_stream>(counted(run));
  return std::make_unique<probe_stream>(*this, run, memory);
}

} // namespace

relation_ptr make_join(const logical::plan &of, relation_ptr left, relation_ptr right, const column_mask &needed,
                       scalar_functions &functions) {
  return std::make_unique<join>(of, std::move(left), std::move(right), needed, functions);
}

} // namespace store::exec
