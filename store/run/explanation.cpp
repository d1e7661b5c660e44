#include "store/run/explanation.hpp"

namespace store {

void plan_step::count_batch(size_t batch) {
  if (read.empty())
    return;
  ++batches;
  for (const column *c : read)
    bytes += c->batches[batch].bytes();
}

void explanation::add_call(std::string_view entry, std::string_view kernel) {
  if (plan_step *in = step_timer::in()) {
    const std::lock_guard lock(guard_);
    in->calls.emplace(entry, kernel);
  }
}

thread_local plan_step *step_timer::current = nullptr;
thread_local step_timer::clock::time_point step_timer::since;

void step_timer::change_to(plan_step *next) {
  const clock::time_point now = clock::now();
  if (current != nullptr)
    current->nanoseconds += std::chrono::duration_cast<std::chrono::nanoseconds>(now - since).count();
  current = next;
  since = now;
}

} // namespace store
