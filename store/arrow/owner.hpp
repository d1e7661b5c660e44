// Records of the Arrow interfaces, each of which is released once, by its owner.  A library that is given the address
// of one may move it elsewhere, so that there is nothing left to release.
#pragma once

#include <vorn/store/arrow_interface.h>

namespace store {

// Record is ArrowSchema, ArrowArray or ArrowArrayStream.
template <class Record>
class arrow_owner {
public:
  arrow_owner() = default;
  // Takes a record that nobody else knows, or moves one, which is a released one afterwards.
  explicit arrow_owner(Record &&made) : held_(made) {}
  explicit arrow_owner(Record &given) : held_(given) { given.release = nullptr; }
  arrow_owner(arrow_owner &&other) noexcept : arrow_owner(other.held_) {}
  arrow_owner &operator=(arrow_owner &&) = delete;
  ~arrow_owner() {
    if (held_.release != nullptr)
      held_.release(&held_);
  }

  Record &operator*() { return held_; }
  Record *operator->() { return &held_; }

private:
  Record held_{};
};

} // namespace store
