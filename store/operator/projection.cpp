// Expressions over the rows of the child.  A plain column is passed on without reading it.
#include <memory>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/operator/operators.hpp"

namespace store::exec {

namespace {

struct projected_column {
  bool is_needed;
  size_t reference;                                 // column of the child, without an expression
  std::shared_ptr<const bound_expression> computed; // null for a reference
};

class projection_stream final : public stream {
public:
  projection_stream(std::unique_ptr<stream> rows, const std::vector<projected_column> &columns,
                    operator_metrics *counted)
      : stream(counted), rows_(std::move(rows)), columns_(columns), evaluators_(columns.size()),
        values_(columns.size()) {
    for (size_t c = 0; c < columns_.size(); ++c)
      if (columns_[c].computed)
        evaluators_[c] = columns_[c].computed->begin();
  }

private:
  void produce(size_t morsel, const chunk_taker &take) override {
    rows_->give(morsel, [&](chunk &in) {
      // The columns that expressions have read are passed on with their values.
      for (size_t c = 0; c < columns_.size(); ++c)
        if (evaluators_[c])
          values_[c] = evaluators_[c]->run(in);
      chunk out = in;
      out.drop_columns();
      for (size_t c = 0; c < columns_.size(); ++c)
        if (!columns_[c].is_needed)
          out.add_missing_column();
        else if (evaluators_[c])
          out.add_column(values_[c]);
        else
          out.add_column_of(in, columns_[c].reference);
      take(out);
    });
  }

  std::unique_ptr<stream> rows_;
  const std::vector<projected_column> &columns_;
  std::vector<std::unique_ptr<evaluator>> evaluators_;
  std::vector<vector> values_;
};

class projection final : public relation {
public:
  projection(relation_ptr rows, std::span<const logical::expression> expressions, const column_mask &needed,
             scalar_functions &functions)
      : relation("projection"), rows_(std::move(rows)) {
    const std::vector<layout> &below = rows_->columns();
    for (size_t c = 0; c < expressions.size(); ++c) {
      const logical::expression &e = expressions[c];
      projected_column made{needed[c], 0, nullptr};
      if (e.what == logical::operation::column) {
        made.reference = e.index;
        columns_.push_back(below[e.index]);
      } else if (needed[c]) {
        made.computed = exec::bind(e, below, functions, rows_->estimated_rows());
        columns_.push_back(made.computed->result());
        const std::string method = made.computed->method();
        texts_.push_back(method.empty() ? e.sql : fmt::format("{} by {}", e.sql, method));
      } else {
        columns_.push_back({.type = e.type});
        if (e.type.held)
          columns_.back().form = plain_representation(*e.type.held);
      }
      projected_.push_back(std::move(made));
    }
  }

  double estimated_rows() const override { return rows_->estimated_rows(); }
  std::vector<const relation *> children() const override { return {rows_.get()}; }
  std::string description() const override { return fmt::format("{}", fmt::join(texts_, ", ")); }
  size_t morsels() const override { return rows_->morsels(); }

private:
  void prepare(const query_run &run) override {
    std::vector<column_filter> below;
    for (const column_filter &f : filters())
      if (projected_[f.column].is_needed && !projected_[f.column].computed)
        below.push_back({projected_[f.column].reference, f.keys});
    rows_->open(run, std::move(below));
  }
  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override {
    return std::make_unique<projection_stream>(rows_->begin(run, memory), projected_, counted(run));
  }

  relation_ptr rows_;
  std::vector<projected_column> projected_;
  std::vector<std::string> texts_; // of what is computed
};

} // namespace

relation_ptr make_projection(relation_ptr rows, std::span<const logical::expression> expressions,
                             const column_mask &needed, scalar_functions &functions) {
  return std::make_unique<projection>(std::move(rows), expressions, needed, functions);
}

} // namespace store::exec
