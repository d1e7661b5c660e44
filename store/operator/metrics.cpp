#include "store/operator/metrics.hpp"

namespace store::exec {

thread_local operator_metrics *metrics_timer::current = nullptr;
thread_local metrics_timer::clock::time_point metrics_timer::since;

void metrics_timer::change_to(operator_metrics *next) {
  const clock::time_point now = clock::now();
  if (current != nullptr)
    current->nanoseconds += std::chrono::duration_cast<std::chrono::nanoseconds>(now - since).count();
  current = next;
  since = now;
}

} // namespace store::exec
