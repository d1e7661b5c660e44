// The one exception of the store: something that its user asked for and that cannot be done.
#pragma once

#include <stdexcept>

namespace store {

struct error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

} // namespace store
