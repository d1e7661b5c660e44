#include "adbc/connection.hpp"

namespace store::adbc {

std::shared_ptr<execution> connection::begin() {
  auto out = std::make_shared<execution>();
  const std::lock_guard lock(guard_);
  std::erase_if(executions_, [](const auto &of) { return of.expired(); });
  executions_.push_back(out);
  return out;
}

bool connection::cancel() {
  const std::lock_guard lock(guard_);
  bool out = false;
  for (const auto &known : executions_)
    if (const std::shared_ptr<execution> of = known.lock()) {
      of->is_cancelled = true;
      out = true;
    }
  return out;
}

} // namespace store::adbc
