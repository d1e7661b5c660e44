// Groups of rows, and aggregates of them.
#include <algorithm>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "store/operator/expression_columns.hpp"
#include "store/operator/group_state.hpp"
#include "store/operator/operators.hpp"

namespace store::exec {

namespace {

constexpr size_t morsel_groups = 16 * chunk_rows;

class aggregate final : public relation {
public:
  // `keys` are the columns of the groups, and `sets` the keys of each grouping set.
  aggregate(relation_ptr rows, aggregation what, std::vector<size_t> keys, std::vector<std::vector<size_t>> sets,
            std::vector<layout> columns, std::vector<std::optional<size_t>> results)
      : relation("aggregate"), rows_(std::move(rows)), what_(std::move(what)), keys_(std::move(keys)),
        sets_(std::move(sets)), results_(std::move(results)) {
    columns_ = std::move(columns);
  }

  double estimated_rows() const override {
    double sum = 0;
    for (const std::vector<size_t> &set : sets_)
      sum += std::min(most_groups(key_layouts(set), rows_->estimated_rows()), std::max(1.0, rows_->estimated_rows()));
    return sum;
  }
  std::vector<const relation *> children() const override { return {rows_.get()}; }
  std::string description() const override {
    std::string out;
    for (const std::vector<size_t> &set : sets_)
      out += (out.empty() ? "" : "; ") +
             (set.empty() ? "one group" : group_finder(key_layouts(set), rows_->estimated_rows()).method());
    return out;
  }
  size_t morsels() const override { return parts_.size(); }

private:
  struct group_column {
    vector values;
    bool is_constant = false; // the values of any chunk
    bool is_there = true;
  };
  // Groups of a grouping set.
  struct part {
    size_t set;
    size_t first;
  };

  class groups_stream final : public stream {
  public:
    groups_stream(const aggregate &of, operator_metrics *counted, arena &memory)
        : stream(counted), of_(of), memory_(memory) {}

  private:
    void produce(size_t morsel, const chunk_taker &take) override;

    const aggregate &of_;
    arena &memory_;
  };

  std::vector<size_t> columns_of(const std::vector<size_t> &set) const {
    std::vector<size_t> out(set.size());
    for (size_t i = 0; i < set.size(); ++i)
      out[i] = keys_[set[i]];
    return out;
  }
  std::vector<layout> key_layouts(const std::vector<size_t> &set) const {
    std::vector<layout> out;
    for (const size_t column : columns_of(set))
      out.push_back(what_.columns()[column]);
    return out;
  }
  std::vector<group_state> states(bool is_merged) const {
    std::vector<group_state> out;
    for (const std::vector<size_t> &set : sets_)
      out.emplace_back(what_, columns_of(set), rows_->estimated_rows(), is_merged);
    return out;
  }

  void prepare(const query_run &run) override;
  void add_in_order(const query_run &run);
  void add_by_threads(const query_run &run);
  void finish();
  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override {
    return std::make_unique<groups_stream>(*this, counted(run), memory);
  }

  relation_ptr rows_;
  aggregation what_;
  std::vector<size_t> keys_;
  std::vector<std::vector<size_t>> sets_;
  std::vector<std::optional<size_t>> results_; // for each column after the keys; empty if it is not needed

  std::vector<group_state> groups_;               // of each grouping set
  std::vector<std::vector<group_column>> values_; // of each grouping set
  std::vector<part> parts_;
  arena memory_; // of the values
};

void aggregate::prepare(const query_run &run) {
  rows_->open(run);
  groups_ = states(false);
  if (run.threads.threads() == 1)
    run_all(*rows_, run, [&](size_t, size_t morsel, chunk &c) {
      for (group_state &groups : groups_)
        groups.add(c, morsel);
    });
  else if (what_.is_ordered())
    add_in_order(run);
  else
    add_by_threads(run);
  finish();
}

// Threads make the rows, and one of them adds all rows in their order.
void aggregate::add_in_order(const query_run &run) {
  column_mask needed(what_.columns().size());
  for (const size_t column : keys_)
    needed[column] = true;
  for (const aggregate_input &input : what_.inputs())
    for (const std::optional<size_t> column : {input.column, input.condition})
      if (column)
        needed[*column] = true;
  row_collector collector(what_.columns(), needed, run.threads.threads());
  run_all(*rows_, run, [&](size_t thread, size_t morsel, chunk &c) { collector.append(thread, morsel, c); });
  const kept_rows kept = collector.finish();
  arena memory;
  for (size_t first = 0; first < kept.rows(); first += chunk_rows) {
    const size_t rows = std::min<size_t>(chunk_rows, kept.rows() - first);
    chunk c(memory, static_cast<uint32_t>(rows));
    for (size_t column = 0; column < needed.size(); ++column)
      if (needed[column])
        c.add_column(rows_of(kept.values(column), first, rows));
      else
        c.add_missing_column();
    for (group_state &groups : groups_)
      groups.add(c, first);
    memory.rewind({});
  }
}

void aggregate::add_by_threads(const query_run &run) {
  std::vector<std::vector<group_state>> threads;
  for (size_t thread = 0; thread < run.threads.threads(); ++thread)
    threads.push_back(states(true));
  run_all(*rows_, run, [&](size_t thread, size_t morsel, chunk &c) {
    for (group_state &groups : threads[thread])
      groups.add(c, morsel);
  });
  for (size_t set = 0; set < sets_.size(); ++set) {
    std::vector<group_state *> of_set(threads.size());
    for (size_t thread = 0; thread < threads.size(); ++thread)
      of_set[thread] = &threads[thread][set];
    groups_[set].merge(of_set);
  }
}

// A chunk of NULLs.
vector all_nulls(representation form, arena &memory) {
  return with_type(form, [&]<class T>(T) {
    const std::span<T> values = memory.take<T>(chunk_rows);
    std::fill(values.begin(), values.end(), T{});
    const std::span<uint64_t> validity = memory.take<uint64_t>(words_of(chunk_rows));
    std::fill(validity.begin(), validity.end(), 0);
    return vector(values, validity.data());
  });
}

void aggregate::finish() {
  memory_.rewind({});
  values_.assign(sets_.size(), {});
  parts_.clear();
  for (size_t set = 0; set < sets_.size(); ++set) {
    std::vector<group_column> &values = values_[set];
    values.reserve(columns_.size());
    for (size_t key = 0; key < keys_.size(); ++key) {
      const auto of_set = std::find(sets_[set].begin(), sets_[set].end(), key);
      if (of_set == sets_[set].end())
        values.push_back({all_nulls(columns_[key].form, memory_), true});
      else
        values.push_back({groups_[set].key(static_cast<size_t>(of_set - sets_[set].begin()))});
    }
    const std::vector<vector> results = groups_[set].results(memory_);
    for (const std::optional<size_t> &result : results_)
      if (result)
        values.push_back({results[*result]});
      else
        values.push_back({vector(), false, false});
    for (size_t first = 0; first < groups_[set].groups(); first += morsel_groups)
      parts_.push_back({set, first});
  }
}

void aggregate::groups_stream::produce(size_t morsel, const chunk_taker &take) {
  const part &from = of_.parts_[morsel];
  const size_t end = std::min(of_.groups_[from.set].groups(), from.first + morsel_groups);
  for (size_t first = from.first; first < end; first += chunk_rows) {
    const arena::mark begun = memory_.position();
    const size_t rows = std::min<size_t>(chunk_rows, end - first);
    chunk out(memory_, static_cast<uint32_t>(rows));
    for (const group_column &column : of_.values_[from.set])
      if (column.is_there)
        out.add_column(rows_of(column.values, column.is_constant ? 0 : first, rows));
      else
        out.add_missing_column();
    take(out);
    memory_.rewind(begun);
  }
}

} // namespace

relation_ptr make_aggregate(const logical::plan &of, relation_ptr rows, const column_mask &needed,
                            scalar_functions &functions) {
  expression_columns inputs(*rows);
  std::vector<size_t> keys;
  for (const logical::expression &group : of.groups)
    keys.push_back(inputs.add(group));
  struct taken_columns {
    std::optional<size_t> argument;
    std::optional<size_t> condition;
  };
  std::vector<taken_columns> taken(of.aggregates.size());
  for (size_t a = 0; a < of.aggregates.size(); ++a)
    if (needed[keys.size() + a]) {
      if (of.aggregates[a].argument)
        taken[a].argument = inputs.add(*of.aggregates[a].argument);
      if (of.aggregates[a].condition)
        taken[a].condition = inputs.add(*of.aggregates[a].condition);
    }
  rows = inputs.finish(std::move(rows), functions);

  std::vector<std::vector<size_t>> sets = of.grouping_sets;
  if (sets.empty()) {
    sets.emplace_back(keys.size());
    std::iota(sets[0].begin(), sets[0].end(), size_t{0});
  }
  std::vector<layout> columns;
  for (size_t key = 0; key < keys.size(); ++key) {
    columns.push_back(rows->columns()[keys[key]]);
    for (const std::vector<size_t> &set : sets)
      if (std::find(set.begin(), set.end(), key) == set.end())
        columns.back().has_nulls = true;
  }
  const bool has_rows = std::none_of(sets.begin(), sets.end(), [](const auto &set) { return set.empty(); });
  aggregation what(rows->columns());
  std::vector<std::optional<size_t>> results(of.aggregates.size());
  for (size_t a = 0; a < of.aggregates.size(); ++a) {
    if (needed[keys.size() + a]) {
      results[a] = what.results().size();
      columns.push_back(what.add(of.aggregates[a], taken[a].argument, taken[a].condition, has_rows));
    } else {
      columns.emplace_back();
      columns.back().type = of.aggregates[a].type;
      columns.back().form = plain_representation(columns.back().held());
    }
  }
  return std::make_unique<aggregate>(std::move(rows), std::move(what), std::move(keys), std::move(sets),
                                     std::move(columns), std::move(results));
}

relation_ptr make_distinct(relation_ptr rows) {
  std::vector<std::vector<size_t>> sets(1, std::vector<size_t>(rows->columns().size()));
  std::iota(sets[0].begin(), sets[0].end(), size_t{0});
  std::vector<layout> columns = rows->columns();
  aggregation what(columns);
  return std::make_unique<aggregate>(std::move(rows), std::move(what), sets[0], sets, std::move(columns),
                                     std::vector<std::optional<size_t>>());
}

} // namespace store::exec
