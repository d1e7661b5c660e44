// Reports to the host.  Every value follows a 32-bit tag, chosen by the type of the value.
#pragma once

#include <concepts>
#include <cstdint>
#include <tuple>

#include "frame/host.h"
#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

constexpr auto tagged(std::integral auto value) {
  return std::tuple{uint32_t{HOST_TAG_INT}, static_cast<int32_t>(value)};
}
constexpr auto tagged(double value) { return std::tuple{uint32_t{HOST_TAG_DOUBLE}, value}; }
constexpr auto tagged(const char *text) { return std::tuple{uint32_t{HOST_TAG_TEXT}, text}; }
constexpr auto tagged(const void *pointer) { return std::tuple{uint32_t{HOST_TAG_POINTER}, pointer}; }

// Calls service(count, tag, value, tag, value, ...).
template <class Service, class... Values>
void with_tags(Service service, Values... values) {
  std::apply([&](auto... flat) { service(uint32_t{sizeof...(Values)}, flat...); }, std::tuple_cat(tagged(values)...));
}

// Reports an internal error.  The reporter may unwind, so a caller holds nothing that would have to be released.  The
// exception is the self-check: its scratch vector stays with the host.
template <class... Values>
void raise(void *env, const char *message, Values... values) {
  void *error_arg = static_cast<const host_env *>(env)->host_env_error_arg;
  with_tags([&](auto... flat) { host_raise_internal_error(env, error_arg, message, flat...); }, values...);
}

template <class... Values>
void raise(const vorn_ctx &ctx, const char *message, Values... values) {
  raise(ctx.vorn_ctx_env, message, values...);
}

template <class... Values>
void raise_soft(const vorn_ctx &ctx, const char *message, Values... values) {
  void *error_arg = static_cast<const host_env *>(ctx.vorn_ctx_env)->host_env_error_arg;
  with_tags([&](auto... flat) { host_soft_internal_error(ctx.vorn_ctx_env, error_arg, message, flat...); }, values...);
}

} // namespace vorn::inline VORN_LEVEL
