// Trace points.  With nothing armed a point costs one load and one test; formatting is left to the host.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/raise.hpp"
#include "frame/vorn.h"

namespace vorn {

inline constexpr uint32_t trace_component = 0x12050004;

enum trace_level : uint32_t { trace_kernel = 2, trace_call = 3, trace_timing = 4 };

struct trace_site {
  const char *entry;
  const char *file;
  uint32_t line;
};

enum class trace_sink {
  none,
  record, // a structured record for the control block
  write   // a line, when the host has no control block
};

struct trace_answer {
  trace_sink sink;
  uint64_t flags;
};

// The gate before every trace point, asked afresh each time.
trace_answer trace_gate(const vorn_ctx &ctx, uint32_t level, const trace_site &site);

// The gate of the timing decision: without a control block a call is never timed, and no service is asked.
bool is_timed(const vorn_ctx &ctx, const trace_site &site);

// text is the source location, a byte 0x01 and the format.
template <class... Values>
[[gnu::noinline, gnu::cold]] void trace(const vorn_ctx &ctx, uint32_t level, const trace_site &site, const char *text,
                                        Values... values) {
  const trace_answer answer = trace_gate(ctx, level, site);
  if (answer.sink == trace_sink::none)
    return;
  host_trace_ctl *ctl = static_cast<const host_env *>(ctx.vorn_ctx_env)->host_env_trace;
  with_tags(
      [&](auto... flat) {
        if (answer.sink == trace_sink::record)
          host_trace_record(ctl, trace_component, 0, answer.flags, site.entry, 1, text, flat...);
        else
          host_trace_write(ctx.vorn_ctx_env, std::strchr(text, '\x01') + 1, flat...);
      },
      values...);
}

} // namespace vorn

#define VORN_TEXT_OF(x)  VORN_TEXT_OF_(x)
#define VORN_TEXT_OF_(x) #x
#define VORN_SITE(entry)                                                                                               \
  vorn::trace_site { entry, __FILE__, __LINE__ }

// A cleared trace word lets nothing through, with or without a control block.
#define VORN_TRACE(ctx, level, entry, format, ...)                                                                     \
  do {                                                                                                                 \
    if ((ctx).vorn_ctx_trace != 0)                                                                                     \
      vorn::trace(ctx, level, VORN_SITE(entry), __FILE__ ":" VORN_TEXT_OF(__LINE__) "\x01" format, __VA_ARGS__);       \
  } while (false)
