// The gates of trace points and of the timing decision.
#include "frame/trace.hpp"

namespace vorn {

namespace {

constexpr uint32_t trace_event = 0x1160001;
constexpr uint64_t initial_flags = 0x400;
constexpr uint64_t all_ones = UINT64_MAX;
constexpr uint64_t filtered = uint64_t{1} << 62;

bool is_active(const host_trace_ctl &ctl) { return ctl.trace_on != 0 || (ctl.trace_ctl & 0x4) != 0; }

bool events_are_on(const uint64_t *events) {
  return events != nullptr && (events[0] & 0x10) != 0 && (events[1] & events[2] & events[3] & 0x1) != 0;
}

// The gate of a host with a control block.  A clear trace word never comes here.
trace_answer controlled_gate(const vorn_ctx &ctx, host_trace_ctl *ctl, uint32_t level, const trace_site &site) {
  uint64_t flags = initial_flags;
  if (!is_active(*ctl))
    return {trace_sink::none, flags};
  if (ctx.vorn_ctx_trace != all_ones) {
    flags = host_trace_eval_flags(ctl, trace_component, level, flags, ctx.vorn_ctx_trace);
  } else {
    uint64_t word = 0;
    if (events_are_on(ctl->trace_events) && host_trace_check_event(ctl, ctl->trace_events, trace_event, trace_component,
                                                                   &word, site.entry, site.file, site.line, 0) != 0)
      flags = host_trace_eval_event(ctl, trace_component, level, flags, word);
  }
  if ((flags & 0x6) == 0)
    return {trace_sink::none, flags};
  const bool passes =
      (flags & filtered) == 0 || host_trace_eval_filters(ctl, ctx.vorn_ctx_env, trace_component, 0, level, flags, 1,
                                                         site.entry, site.file, site.line) != 0;
  return {passes ? trace_sink::record : trace_sink::none, flags};
}

host_trace_ctl *control_block(const vorn_ctx &ctx) {
  return static_cast<const host_env *>(ctx.vorn_ctx_env)->host_env_trace;
}

} // namespace

trace_answer trace_gate(const vorn_ctx &ctx, uint32_t level, const trace_site &site) {
  if (host_trace_ctl *ctl = control_block(ctx))
    return controlled_gate(ctx, ctl, level, site);
  uint64_t flags = initial_flags;
  if (ctx.vorn_ctx_trace != all_ones)
    flags = host_trace_eval_flags(nullptr, trace_component, level, flags, ctx.vorn_ctx_trace);
  return {(flags & 0x4) != 0 ? trace_sink::write : trace_sink::none, flags};
}

bool is_timed(const vorn_ctx &ctx, const trace_site &site) {
  host_trace_ctl *ctl = control_block(ctx);
  return ctl != nullptr && controlled_gate(ctx, ctl, trace_timing, site).sink != trace_sink::none;
}

} // namespace vorn
