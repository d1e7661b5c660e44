// Record batches of the rows of opened operators.  Threads make them while a reader reads them.
//
// The first call of `make` starts a thread that runs the morsels with the threads of the run.  Each morsel has a queue
// for its batches.  A thread waits when its queue is full, or when its morsel is far after the morsel that is read.  So
// there are few batches in memory, even if a morsel has many rows.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "store/arrow/batch_writer.hpp"
#include "store/arrow/export.hpp"
#include "store/operator/relation.hpp"

namespace store {

class relation_batches {
public:
  // Operators and run outlive this object.
  relation_batches(exec::relation &from, const exec::query_run &run, const morsel_range &range,
                   const arrow_batch_limits &limits);
  relation_batches(const relation_batches &) = delete;
  // Ends the threads.
  ~relation_batches();

  // Waits for the next batches in the order of the morsels, and appends them.  Returns false at the end.  Throws the
  // error of a row after the batches before it, and exec::interrupted when the run is interrupted.
  bool make(batch_queue &to);

private:
  struct queue {
    batch_queue batches;
    bool is_whole = false;
  };

  void run();
  void give(size_t thread, size_t morsel);
  void put(size_t slot, batch_queue batches, bool is_whole);
  // Waits, and tests at intervals whether the run was interrupted.
  template <class Condition>
  void wait(std::unique_lock<std::mutex> &lock, const Condition &until);

  // One thread fills a batch from several morsels, so all of its batches are in the first queue.
  size_t slot_of(size_t morsel) const { return streams_.size() > 1 ? morsel : first_; }

  exec::relation &rows_;
  exec::query_run run_;
  size_t first_; // morsel
  size_t end_;
  std::vector<std::unique_ptr<exec::stream>> streams_; // of threads
  std::deque<batch_writer> writers_;

  std::mutex guard_; // of what follows
  std::condition_variable changed_;
  std::map<size_t, queue> queues_; // by morsels
  size_t read_;                    // the morsel whose batches come next
  bool is_stopped_ = false;
  bool has_ended_ = false;
  std::exception_ptr error_;
  std::jthread runner_; // the last member: it ends before the others do
};

} // namespace store
