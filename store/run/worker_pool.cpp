#include "store/run/worker_pool.hpp"

#include <system_error>
#include <utility>

namespace store {

worker_pool::worker_pool(uint32_t threads) {
  try {
    for (size_t thread = 1; thread < threads; ++thread)
      others_.emplace_back([this, thread](const std::stop_token &stop) { wait_for_work(stop, thread); });
  } catch (const std::system_error &) {
    // The system has no room for more threads.  Fewer threads do the same work.
  }
}

void worker_pool::run(size_t items, const work &of_item) {
  std::unique_lock lock(guard_);
  current_ = &of_item;
  next_item_ = 0;
  end_item_ = items;
  ++runs_;
  if (items > 1)
    begun_.notify_all();
  take_items(lock, 0);
  ended_.wait(lock, [this] { return working_ == 0; });
  if (error_)
    std::rethrow_exception(std::exchange(error_, nullptr));
}

void worker_pool::wait_for_work(const std::stop_token &stop, size_t thread) {
  std::unique_lock lock(guard_);
  for (uint64_t seen = 0; begun_.wait(lock, stop, [&] { return runs_ != seen; });) {
    seen = runs_;
    take_items(lock, thread);
  }
}

// An item takes much longer than the lock, so the lock costs nothing.
void worker_pool::take_items(std::unique_lock<std::mutex> &lock, size_t thread) {
  ++working_;
  while (next_item_ < end_item_) {
    const size_t item = next_item_++;
    lock.unlock();
    std::exception_ptr failure;
    try {
      (*current_)(thread, item);
    } catch (...) {
      failure = std::current_exception();
    }
    lock.lock();
    if (!failure)
      continue;
    end_item_ = next_item_;
    if (!error_ || item < error_item_) {
      error_ = failure;
      error_item_ = item;
    }
  }
  if (--working_ == 0)
    ended_.notify_one();
}

} // namespace store
