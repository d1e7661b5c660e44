// Owners of records of the Arrow interfaces.  An owner releases its record once.  A library that gets the address of a
// record may move the record away.  Then the owner has nothing to release.
#pragma once

#include <vorn/store/arrow_interface.h>

namespace store {

// Record is ArrowSchema, ArrowArray or ArrowArrayStream.
template <class Record>
class arrow_owner {
public:
  arrow_owner() = default;
  // Takes a record that has no other owner, or moves a record.  A record that was moved counts as released.
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
