// The rows of the child on which all conditions are true.  Columns that no condition reads are not read.
#include <memory>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/operator/operators.hpp"

namespace store::exec {

namespace {

using bound_conditions = std::vector<std::shared_ptr<const bound_expression>>;

class filter_stream final : public stream {
public:
  filter_stream(std::unique_ptr<stream> rows, const bound_conditions &all_of, operator_metrics *counted)
      : stream(counted), rows_(std::move(rows)), kept_(all_of) {}

private:
  void produce(size_t morsel, const chunk_taker &take) override {
    rows_->give(morsel, [&](chunk &c) {
      if (kept_.keep(c))
        take(c);
    });
  }

  std::unique_ptr<stream> rows_;
  row_condition kept_;
};

class filter final : public relation {
public:
  filter(relation_ptr rows, std::span<const logical::expression> all_of, scalar_functions &functions)
      : relation("filter"), rows_(std::move(rows)), estimated_rows_(rows_->estimated_rows()) {
    constexpr double selectivity = 0.25; // of a condition about which nothing is known
    columns_ = rows_->columns();
    for (const logical::expression &condition : all_of) {
      conditions_.push_back(exec::bind(condition, columns_, functions, estimated_rows_));
      texts_.push_back(condition.sql);
      estimated_rows_ *= selectivity;
    }
  }

  double estimated_rows() const override { return estimated_rows_; }
  std::vector<const relation *> children() const override { return {rows_.get()}; }
  std::string description() const override {
    std::string out;
    for (size_t i = 0; i < conditions_.size(); ++i)
      out += fmt::format("{}{} by {}", i == 0 ? "" : " and ", texts_[i], conditions_[i]->method());
    return out;
  }
  size_t morsels() const override { return rows_->morsels(); }

private:
  void prepare(const query_run &run) override { rows_->open(run, filters()); }
  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override {
    return std::make_unique<filter_stream>(rows_->begin(run, memory), conditions_, counted(run));
  }

  relation_ptr rows_;
  double estimated_rows_;
  bound_conditions conditions_;
  std::vector<std::string> texts_;
};

} // namespace

relation_ptr make_filter(relation_ptr rows, std::span<const logical::expression> all_of, scalar_functions &functions) {
  return std::make_unique<filter>(std::move(rows), all_of, functions);
}

} // namespace store::exec
