// Running operators.
//
// A relation gives its rows as chunks, in morsels.  Threads take morsels from one queue.  The rows of a relation are
// the rows of morsel 0, then the rows of morsel 1, and so on.  Their order does not depend on the threads.
//
//     rows.open(run);                          // does first what must be done before there is a row
//     const auto stream = rows.begin(run, memory);   // for each thread
//     stream->give(morsel, [](chunk &c) { ... });    // for each morsel, by one of the threads
//
// An operator without a state of its own, such as a filter, wraps the stream of its child.  An operator that needs all
// rows first, such as an aggregate, runs its child in `open` and then gives rows of its own.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store/chunk/chunk.hpp"
#include "store/operator/key_filter.hpp"
#include "store/operator/metrics.hpp"
#include "store/run/worker_pool.hpp"
#include <vorn/vorn.h>

namespace store::exec {

// The user has ended the query.
struct interrupted : std::exception {
  const char *what() const noexcept override { return "interrupted"; }
};

// The resources of a running query.  They outlive the query.
struct query_run {
  const vorn_ctx &library;
  worker_pool &threads;
  const std::atomic<bool> &is_interrupted;
  std::span<arena> memory; // one for each thread
  bool explains = false;   // metrics are kept
};

// Takes a chunk, and may change it.  The chunk and its vectors are valid only during the call.
using chunk_taker = std::function<void(chunk &)>;

// The rows of a relation for one thread.
class stream {
public:
  explicit stream(operator_metrics *counted) : counted_(counted) {}
  virtual ~stream() = default;

  void give(size_t morsel, const chunk_taker &take) {
    if (counted_ == nullptr)
      produce(morsel, take);
    else
      give_counted(morsel, take);
  }

protected:
  virtual void produce(size_t morsel, const chunk_taker &take) = 0;

private:
  void give_counted(size_t morsel, const chunk_taker &take);

  operator_metrics *counted_; // null without EXPLAIN ANALYZE
};

class relation {
public:
  explicit relation(std::string_view name) : metrics_(name) {}
  virtual ~relation() = default;
  relation(const relation &) = delete;

  // The columns; known before `open`.
  const std::vector<layout> &columns() const { return columns_; }
  // An estimate, for the choice of the built side of a join.
  virtual double estimated_rows() const = 0;
  // The operators below, in the order of the plan.
  virtual std::vector<const relation *> children() const { return {}; }
  // What the operator does, for EXPLAIN.
  virtual std::string description() const { return {}; }

  // Called once for each run of a query.  The relation may leave out rows that do not pass a filter, because the
  // operator above drops these rows too.
  void open(const query_run &run, std::vector<column_filter> filters = {});
  virtual size_t morsels() const = 0;
  // Called after `open`.  The arena belongs to the thread.  Chunks lie in it.  A stream without a child rewinds the
  // arena before it makes the next chunk.
  std::unique_ptr<stream> begin(const query_run &run, arena &memory) { return made_stream(run, memory); }

  const operator_metrics &metrics() const { return metrics_; }

protected:
  virtual void prepare(const query_run &run) = 0;
  virtual std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) = 0;

  // The argument of `open`.
  const std::vector<column_filter> &filters() const { return filters_; }
  // The metrics of this operator, for the constructor of its stream.
  operator_metrics *counted(const query_run &run) { return run.explains ? &metrics_ : nullptr; }

  std::vector<layout> columns_;
  operator_metrics metrics_;

private:
  std::vector<column_filter> filters_;
};

// Runs all morsels of an opened relation on the threads.  `take` gets each chunk with its morsel and with the number of
// its thread, 0 to the number of threads minus 1.  A thread takes its morsels in ascending order.
using thread_taker = std::function<void(size_t thread, size_t morsel, chunk &)>;
void run_all(relation &rows, const query_run &run, const thread_taker &take);

} // namespace store::exec
