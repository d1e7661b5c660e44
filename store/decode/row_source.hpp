// Where rows come from, some thousand at a time: a step of the plan of a query.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "store/decode/row_reader.hpp"
#include "store/decode/row_steps.hpp"
#include "store/run/explanation.hpp"
#include "store/value/value.hpp"

namespace store {

// A column of rows: what it is called, and of which type its cells are.
struct heading {
  std::string name;
  column_type type;
  bool is_rounded = false; // sums of reals, which depend on the order of the additions
};

// Some rows: the cells of each column, of which there are equally many.
using row_block = std::span<const std::span<const cell>>;

class row_source {
public:
  virtual ~row_source() = default;

  // Goes on to the next rows and says how many they are; none at the end.
  virtual uint64_t next() = 0;

  // Their cells, good until the next call.
  virtual row_block rows() const = 0;
};

// Rows that come batch by batch of a table, so that threads can take turns at its batches.
class batch_source : public row_source {
public:
  // Goes to the rows of a batch, with which the source ends; without a call it has those of all.
  virtual void go_to(size_t batch) = 0;

  // The same rows for another thread.
  virtual std::unique_ptr<batch_source> another() const = 0;
};

// The selected rows of a table, all rows without a selection.
class table_scan final : public batch_source {
public:
  // Context and columns, of which there is at least one, outlive this.
  table_scan(const vorn_ctx &ctx, std::span<const column *const> read, std::shared_ptr<const selection> rows,
             plan_step *explained = nullptr)
      : ctx_(ctx), columns_(read.begin(), read.end()), selected_(std::move(rows)), told_(explained),
        steps_(*columns_.front(), selected_.get()), cells_(columns_.size()) {
    for (const column *c : columns_)
      readers_.emplace_back(ctx_, *c, selected_.get());
  }

  uint64_t next() override {
    const step_timer timer(told_);
    for (size_t c = 0; c < readers_.size(); ++c)
      cells_[c] = readers_[c].next();
    if (told_ != nullptr)
      tell();
    return cells_.front().size();
  }
  row_block rows() const override { return cells_; }
  void go_to(size_t batch) override {
    for (row_reader &reader : readers_)
      reader.go_to(batch);
    steps_.go_to(batch);
  }
  std::unique_ptr<batch_source> another() const override {
    return std::make_unique<table_scan>(ctx_, columns_, selected_, told_);
  }

private:
  void tell() {
    const row_steps::step step = steps_.next();
    if (step.opens_batch)
      told_->count_batch(steps_.batch_number());
    told_->rows_in += step.rows;
    told_->rows_out += step.rows;
  }

  const vorn_ctx &ctx_;
  std::vector<const column *> columns_;
  std::shared_ptr<const selection> selected_;
  plan_step *told_; // null where nothing is explained
  row_steps steps_; // the metrics count these steps
  std::vector<row_reader> readers_;
  std::vector<std::span<const cell>> cells_;
};

} // namespace store
