// What libvornstore exports, and the one exception that it throws.
#pragma once

#include <stdexcept>

#define VORN_STORE_API __attribute__((visibility("default")))

namespace vorn::store {

// A call that cannot be done; what() is one line for the user.  The functions throw no other exception of their own.
// Exceptions of the host's error reporter and std::bad_alloc pass through.
class VORN_STORE_API error : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
  error(const error &) = default;
  error &operator=(const error &) = default;
  ~error() override;
};

} // namespace vorn::store
