// The ends of batches that threads work on at once, each in its turn.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace store {

class batch_turns {
public:
  // The batches begin with this one.
  explicit batch_turns(size_t first) : next_(first) {}

  // Does the work of a batch after the batches before it are done; nothing when one of them was given up.
  template <class Work>
  void take(size_t batch, Work work) {
    std::unique_lock lock(guard_);
    changed_.wait(lock, [&] { return next_ == batch || given_up_; });
    if (given_up_)
      return;
    work();
    ++next_;
    changed_.notify_all();
  }

  void give_up() {
    const std::lock_guard lock(guard_);
    given_up_ = true;
    changed_.notify_all();
  }

private:
  std::mutex guard_;
  std::condition_variable changed_;
  size_t next_;
  bool given_up_ = false;
};

} // namespace store
