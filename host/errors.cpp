// Error reports.
#include "host/state.hpp"

namespace vorn_host {

internal_error::internal_error(std::string message_text, std::vector<value> message_values, void *argument)
    : message(std::move(message_text)), values(std::move(message_values)), error_arg(argument), what_(message) {
  pointer_names names;
  for (const value &item : values)
    what_ += (&item == values.data() ? ": " : ", ") + render(item, names);
}

internal_error::~internal_error() = default;

const char *internal_error::what() const noexcept { return what_.c_str(); }

namespace {

internal_error keep(environment &env, const char *service, void *error_arg, const char *message,
                    std::vector<value> values) {
  internal_error error(text_or_null(message), std::move(values), error_arg);
  record(&env, {.service = service, .text = error.message, .values = error.values, .source = {}});
  environment::state &state = env.internals();
  const std::lock_guard lock(state.guard);
  state.errors.push_back(error);
  return error;
}

} // namespace

void raise_internal_error(environment &env, void *error_arg, const char *message, std::vector<value> values) {
  internal_error error = keep(env, "host_raise_internal_error", error_arg, message, std::move(values));
  if (env.on_error == error_policy::unwind)
    throw error;
}

} // namespace vorn_host

using namespace vorn_host;

void host_raise_internal_error(void *env, void *error_arg, const char *message, uint32_t nvalues, ...) {
  std::vector<value> values;
  va_list pairs;
  va_start(pairs, nvalues);
  append_tagged(values, nvalues, pairs);
  va_end(pairs);
  raise_internal_error(environment_of(env), error_arg, message, std::move(values));
}

void host_soft_internal_error(void *env, void *error_arg, const char *message, uint32_t nvalues, ...) {
  std::vector<value> values;
  va_list pairs;
  va_start(pairs, nvalues);
  append_tagged(values, nvalues, pairs);
  va_end(pairs);
  keep(environment_of(env), "host_soft_internal_error", error_arg, message, std::move(values));
}
