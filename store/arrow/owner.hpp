// Whoever takes over a record of the Arrow interfaces releases it, once.
#pragma once

#include "store/arrow/arrow_interface.h"

namespace store {

// Record is ArrowSchema, ArrowArray or ArrowArrayStream.
template <class Record>
class arrow_owner {
public:
  arrow_owner() = default;
  // Moves the record, which is a released one afterwards.
  explicit arrow_owner(Record &given) : held(given) { given.release = nullptr; }
  arrow_owner(const arrow_owner &) = delete;
  arrow_owner &operator=(const arrow_owner &) = delete;
  ~arrow_owner() {
    if (held.release != nullptr)
      held.release(&held);
  }

  Record &operator*() { return held; }
  Record *operator->() { return &held; }

private:
  Record held{};
};

} // namespace store
