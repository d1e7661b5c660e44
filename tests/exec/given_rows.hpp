// What tests of the operators need: a run, columns in expressions, and rows as a relation.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "store/chunk/kept_rows.hpp"
#include "store/error.hpp"
#include "store/logical/expression.hpp"
#include "store/operator/operators.hpp"

namespace store::exec {

// For plans whose expressions the store evaluates itself.
class no_functions final : public scalar_functions {
  std::unique_ptr<scalar_function> bind(const logical::expression &what, std::span<const logical::sql_type>) override {
    throw error("unexpected: " + what.sql);
  }
};

template <class Type>
logical::expression column_of(size_t index, const Type &type) {
  logical::expression out;
  out.what = logical::operation::column;
  out.type = logical::sql_type(type);
  out.index = index;
  out.sql = "c" + std::to_string(index);
  return out;
}

// What a query needs to run, on a number of threads, with the generic kernels.
class test_run {
public:
  explicit test_run(const vorn_ctx &library, uint32_t threads = 1)
      : pool_(threads), memory_(threads), run_{library, pool_, interrupted_, memory_} {}
  const query_run &get() const { return run_; }

private:
  worker_pool pool_;
  std::atomic<bool> interrupted_ = false;
  std::vector<arena> memory_;
  query_run run_;
};

// Kept rows as a relation of morsels of some rows each.
class given_rows final : public relation {
public:
  given_rows(std::vector<layout> columns, kept_rows rows, size_t rows_of_morsel)
      : relation("given"), rows_(std::move(rows)), rows_of_morsel_(rows_of_morsel) {
    columns_ = std::move(columns);
  }

  double estimated_rows() const override { return static_cast<double>(rows_.rows()); }
  size_t morsels() const override { return (rows_.rows() + rows_of_morsel_ - 1) / rows_of_morsel_; }

private:
  class rows_stream final : public stream {
  public:
    rows_stream(given_rows &of, operator_metrics *counted, arena &memory) : stream(counted), of_(of), memory_(memory) {}

  private:
    void produce(size_t morsel, const chunk_taker &take) override {
      const size_t end = std::min(of_.rows_.rows(), (morsel + 1) * of_.rows_of_morsel_);
      for (size_t first = morsel * of_.rows_of_morsel_; first < end; first += chunk_rows) {
        const arena::mark begun = memory_.position();
        const size_t rows = std::min<size_t>(chunk_rows, end - first);
        chunk out(memory_, static_cast<uint32_t>(rows));
        const size_t source = out.add_source(of_.rows_, consecutive(first, rows, memory_));
        for (size_t c = 0; c < of_.columns_.size(); ++c)
          out.add_column(source, c);
        take(out);
        memory_.rewind(begun);
      }
    }

    given_rows &of_;
    arena &memory_;
  };

  void prepare(const query_run &) override {}
  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override {
    return std::make_unique<rows_stream>(*this, counted(run), memory);
  }

  kept_rows rows_;
  size_t rows_of_morsel_;
};

} // namespace store::exec
