#include "store/run/worker_pool.hpp"

#include <utility>

namespace store {

worker_pool::worker_pool(uint32_t threads) {
  for (size_t thread = 1; thread < threads; ++thread)
    others.emplace_back([this, thread](const std::stop_token &stop) { wait_for_work(stop, thread); });
}

void worker_pool::run(size_t items, const work &of_item) {
  std::unique_lock lock(guard);
  current = &of_item;
  next_item = 0;
  end_item = items;
  ++runs;
  if (items > 1)
    begun.notify_all();
  take_items(lock, 0);
  ended.wait(lock, [this] { return working == 0; });
  if (error)
    std::rethrow_exception(std::exchange(error, nullptr));
}

void worker_pool::wait_for_work(const std::stop_token &stop, size_t thread) {
  std::unique_lock lock(guard);
  for (uint64_t seen = 0; begun.wait(lock, stop, [&] { return runs != seen; });) {
    seen = runs;
    take_items(lock, thread);
  }
}

// Items take so much longer than the lock that handing them out under it costs nothing.
void worker_pool::take_items(std::unique_lock<std::mutex> &lock, size_t thread) {
  ++working;
  while (next_item < end_item) {
    const size_t item = next_item++;
    lock.unlock();
    std::exception_ptr failure;
    try {
      (*current)(thread, item);
    } catch (...) {
      failure = std::current_exception();
    }
    lock.lock();
    if (!failure)
      continue;
    end_item = next_item;
    if (!error || item < error_item) {
      error = failure;
      error_item = item;
    }
  }
  if (--working == 0)
    ended.notify_one();
}

} // namespace store
