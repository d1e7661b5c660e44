// Rows that several operators read.  They are kept when the first of these operators is opened.
#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "store/operator/kept_stream.hpp"
#include "store/operator/operators.hpp"

namespace store::exec {

class shared_rows {
public:
  shared_rows(relation_ptr rows, column_mask needed) : rows_(std::move(rows)), needed_(std::move(needed)) {
    columns_ = rows_->columns();
  }

  const relation &rows() const { return *rows_; }
  const std::vector<layout> &columns() const { return columns_; }
  const kept_rows &kept() const { return *kept_; }
  bool has_reference() const { return references_ != 0; }
  void add_reference() { ++references_; }

  // Keeps the rows of a run.  Runs are numbered from 1.  Each reference opens each run.
  void open(const query_run &run, uint64_t number_of_run) {
    if (number_of_run <= runs_)
      return;
    runs_ = number_of_run;
    rows_->open(run);
    row_collector collected(columns_, needed_, run.threads.threads());
    run_all(*rows_, run, [&](size_t thread, size_t morsel, chunk &c) { collected.append(thread, morsel, c); });
    kept_.emplace(collected.finish());
  }

private:
  relation_ptr rows_;
  column_mask needed_;
  std::vector<layout> columns_;
  std::optional<kept_rows> kept_;
  uint64_t runs_ = 0;
  size_t references_ = 0;
};

namespace {

class shared_reference final : public relation {
public:
  explicit shared_reference(std::shared_ptr<shared_rows> rows)
      : relation("shared rows"), rows_(std::move(rows)), is_first_(!rows_->has_reference()) {
    rows_->add_reference();
    columns_ = rows_->columns();
  }

  double estimated_rows() const override { return rows_->rows().estimated_rows(); }
  // The plan shows the rows below the first reference.
  std::vector<const relation *> children() const override {
    return is_first_ ? std::vector<const relation *>{&rows_->rows()} : std::vector<const relation *>();
  }
  size_t morsels() const override { return kept_stream::morsels(rows_->kept().rows()); }

private:
  void prepare(const query_run &run) override { rows_->open(run, ++runs_); }
  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override {
    return std::make_unique<kept_stream>(rows_->kept(), counted(run), memory);
  }

  std::shared_ptr<shared_rows> rows_;
  bool is_first_;
  uint64_t runs_ = 0;
};

} // namespace

std::shared_ptr<shared_rows> make_shared_rows(relation_ptr rows, const column_mask &needed) {
  return std::make_shared<shared_rows>(std::move(rows), needed);
}

relation_ptr make_shared_reference(std::shared_ptr<shared_rows> rows) {
  return std::make_unique<shared_reference>(std::move(rows));
}

} // namespace store::exec
