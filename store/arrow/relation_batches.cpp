#include "store/arrow/relation_batches.hpp"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

namespace store {

namespace {

constexpr size_t queued_batches = 2;          // of a morsel, before its thread waits
constexpr size_t morsels_of_thread = 4;       // morsels that may be complete before they are read
constexpr std::chrono::milliseconds look{20}; // between two tests for an interruption

} // namespace

relation_batches::relation_batches(exec::relation &from, const exec::query_run &run, const morsel_range &range,
                                   const arrow_batch_limits &limits)
    : rows_(from), run_(run), first_(std::min(range.first, from.morsels())), end_(std::min(range.end, from.morsels())),
      streams_(run.threads.threads()), read_(first_) {
  for (size_t thread = 0; thread < streams_.size(); ++thread)
    writers_.emplace_back(from.columns(), limits);
}

relation_batches::~relation_batches() {
  {
    const std::lock_guard lock(guard_);
    is_stopped_ = true;
  }
  changed_.notify_all();
}

template <class Condition>
void relation_batches::wait(std::unique_lock<std::mutex> &lock, const Condition &until) {
  while (!is_stopped_ && !run_.is_interrupted && !until())
    changed_.wait_for(lock, look);
  if (is_stopped_ || run_.is_interrupted)
    throw exec::interrupted();
}

bool relation_batches::make(batch_queue &to) {
  if (!runner_.joinable())
    runner_ = std::jthread([this] { run(); });
  std::unique_lock lock(guard_);
  for (;;) {
    queue &next = queues_[read_];
    wait(lock, [&] { return !next.batches.empty() || next.is_whole || has_ended_; });
    if (!next.batches.empty()) {
      std::move(next.batches.begin(), next.batches.end(), std::back_inserter(to));
      next.batches.clear();
      changed_.notify_all();
      return true;
    }
    if (!next.is_whole) { // and no morsel after it is read
      if (error_)
        std::rethrow_exception(error_);
      return false;
    }
    queues_.erase(read_++);
    changed_.notify_all();
  }
}

void relation_batches::run() {
  std::exception_ptr error;
  try {
    run_.threads.run(end_ - first_, [&](size_t thread, size_t item) { give(thread, first_ + item); });
    if (streams_.size() == 1) {
      writers_.front().end_batch();
      put(first_, writers_.front().take(), false);
    }
  } catch (...) {
    error = std::current_exception();
  }
  const std::lock_guard lock(guard_);
  error_ = error;
  has_ended_ = true;
  changed_.notify_all();
}

void relation_batches::put(size_t slot, batch_queue batches, bool is_whole) {
  std::unique_lock lock(guard_);
  wait(lock, [&] { return queues_[slot].batches.size() < queued_batches; });
  queue &to = queues_[slot];
  std::move(batches.begin(), batches.end(), std::back_inserter(to.batches));
  to.is_whole = is_whole;
  changed_.notify_all();
}

void relation_batches::give(size_t thread, size_t morsel) {
  const size_t slot = slot_of(morsel);
  if (streams_.size() > 1) {
    std::unique_lock lock(guard_);
    wait(lock, [&] { return morsel < read_ + morsels_of_thread * streams_.size(); });
  }
  exec::arena &memory = run_.memory[thread];
  const exec::arena::mark begun = memory.position();
  if (!streams_[thread])
    streams_[thread] = rows_.begin(run_, memory);
  batch_writer &writer = writers_[thread];
  std::vector<exec::vector> columns(rows_.columns().size());
  streams_[thread]->give(morsel, [&](exec::chunk &some) {
    if (run_.is_interrupted)
      throw exec::interrupted();
    for (size_t c = 0; c < columns.size(); ++c)
      columns[c] = exec::plain_values(some.column(c), rows_.columns()[c], some.memory());
    writer.append(columns, some.rows());
    if (writer.has_batches())
      put(slot, writer.take(), false);
  });
  memory.rewind(begun);
  if (streams_.size() > 1) {
    writer.end_batch();
    put(slot, writer.take(), true);
  }
}

} // namespace store
