// Threads that take the row groups of a table by turns.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace store {

class worker_pool {
public:
  // The work for an item.  The number of the thread is below threads().
  using work = std::function<void(size_t thread, size_t item)>;

  // The thread that calls `run` is one of them.  There are fewer threads if the system has no room for all.
  explicit worker_pool(uint32_t threads);
  worker_pool(const worker_pool &) = delete;

  size_t threads() const { return others_.size() + 1; }

  // Does the work of the items 0 to `items` - 1, and returns when all of them are done.  Threads take the items in
  // ascending order.  After an error no more items are started.  The call throws the error of the smallest item, so the
  // error does not depend on the number of threads.
  void run(size_t items, const work &of_item);

private:
  void wait_for_work(const std::stop_token &stop, size_t thread);
  void take_items(std::unique_lock<std::mutex> &lock, size_t thread);

  std::mutex guard_; // guards all members below except the threads
  std::condition_variable_any begun_;
  std::condition_variable ended_;
  const work *current_ = nullptr;
  uint64_t runs_ = 0;
  size_t next_item_ = 0;
  size_t end_item_ = 0;
  size_t working_ = 0; // threads that have an item
  std::exception_ptr error_;
  size_t error_item_ = 0;

  std::vector<std::jthread> others_; // the last member: they end before the others do
};

} // namespace store
