// The value of an option that did not fit into the memory of the caller.
#pragma once

#include <string>

namespace store::adbc {

// The caller asks again with enough memory.  So a long value, such as a plan, is not made twice.  It is dropped when
// anything is set.
struct unread_option {
  std::string key;
  std::string value;
};

} // namespace store::adbc
