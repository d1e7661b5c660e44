// Trace points.  With nothing armed a point costs one load and one test.  The host formats the lines.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "frame/raise.hpp"
#include "frame/vorn.h"

namespace vorn {

inline constexpr uint32_t trace_component = 0x12050004;

enum trace_level : uint32_t { trace_kernel = 2, trace_call = 3, trace_timing = 4 };

// The level of a trace point and the format of its values.
template <size_t Size>
struct trace_line {
  trace_level level;
  char format[Size];
};
template <size_t Size>
trace_line(trace_level, const char (&)[Size]) -> trace_line<Size>;

namespace lines {
inline constexpr trace_line kernel = {trace_kernel, "%s force_generic: %d qpak: %d\n"};
inline constexpr trace_line kernel_alone = {trace_kernel, "%s force_generic: %d\n"};
inline constexpr trace_line hash_kernel = {trace_kernel, "vorn_hash force_generic: %d\n"};
inline constexpr trace_line build_kernel = {trace_kernel, "vorn_build force_generic: %d\n"};
inline constexpr trace_line probe_kernel = {trace_kernel, "vorn_ht_probe force_generic: %d\n"};
inline constexpr trace_line partition_kernel = {trace_kernel, "vorn_partition force_generic: %d\n"};
inline constexpr trace_line gather_kernel = {trace_kernel, "vorn_gather force_generic: %d\n"};
inline constexpr trace_line reference_kernel = {trace_kernel, "vorn_transpose_reference force_generic: %d\n"};
inline constexpr trace_line convert_kernel = {trace_kernel, "vorn_transpose_convert force_generic: %d\n"};
inline constexpr trace_line bloom_kernel = {trace_kernel, "vorn_bloom force_generic: %d\n"};
inline constexpr trace_line sum_kernel = {trace_kernel, "vorn_gby_sum force_generic: %d\n"};
inline constexpr trace_line convert_numbers_kernel = {trace_kernel, "vorn_convert force_generic: %d\n"};
inline constexpr trace_line pip_kernel = {trace_kernel, "vorn_spatial_pip force_generic: %d\n"};
inline constexpr trace_line arithmetic = {trace_call, "vorn_arith opcode:%d datawidth(overloaded):%x sum:%d\n"};
inline constexpr trace_line prefix_kernel = {trace_kernel, "vorn_prefix_decode force_generic: %d\n"};
inline constexpr trace_line compare = {
    trace_call, "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d src: %p res: %p aux: %p\n"};
inline constexpr trace_line implementation = {trace_call,
                                              "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\n"};
inline constexpr trace_line rows = {trace_call,
                                    "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d\n"};
inline constexpr trace_line rows_decoded = {
    trace_call, "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d nrows_decoded: %d\n"};
inline constexpr trace_line rows_unpacked = {
    trace_call, "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d nrows_unpacked: %d\n"};
inline constexpr trace_line filter = {trace_call, "filter_bv: %p popc: %d invert_filter: %d force_selective: %d\n"};
inline constexpr trace_line decode = {trace_call,
                                      "vals: %p lens: %p flgs: %p\nfilterbv: %p start_slot: %d ones_vec: %p (%d)\n"};
inline constexpr trace_line diagnostic = {trace_call, "diag_code: %d\n"};
inline constexpr trace_line time = {trace_timing, "Runtime %.0f us (%.0f Mrows/sec)\n"};
} // namespace lines

// A line with its place in the source.  The text is the source location, a byte 0x01 and the format.  It is static, so
// a host may keep its address.
struct trace_point {
  trace_level level;
  uint32_t line;
  const char *text;
};

template <size_t Place, size_t Format>
consteval std::array<char, Place + Format - 1> trace_text(const char (&place)[Place], const char (&format)[Format]) {
  std::array<char, Place + Format - 1> text = {};
  for (size_t i = 0; i + 1 < Place; ++i)
    text[i] = place[i];
  for (size_t i = 0; i < Format; ++i)
    text[Place - 1 + i] = format[i];
  return text;
}

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

// The gate of a trace point.  Every point calls it again.  The trace word of the context is not clear.
trace_answer trace_gate(const vorn_ctx &ctx, uint32_t level, const trace_site &site);

// The gate of the timing decision.  The trace word of the context is not clear.  Without a control block a call is
// never timed, and no service is called.
bool is_timed(const vorn_ctx &ctx, const trace_site &site);

template <class... Values>
[[gnu::noinline, gnu::cold]] void trace(const vorn_ctx &ctx, const char *entry, const char *file,
                                        const trace_point &point, Values... values) {
  const trace_answer answer = trace_gate(ctx, point.level, {entry, file, point.line});
  if (answer.sink == trace_sink::none)
    return;
  host_trace_ctl *ctl = static_cast<const host_env *>(ctx.vorn_ctx_env)->host_env_trace;
  with_tags(
      [&](auto... flat) {
        if (answer.sink == trace_sink::record)
          host_trace_record(ctl, trace_component, 0, answer.flags, entry, 1, point.text, flat...);
        else
          host_trace_write(ctx.vorn_ctx_env, std::strchr(point.text, '\x01') + 1, flat...);
      },
      values...);
}

} // namespace vorn

#define VORN_TEXT_OF_(x) #x
#define VORN_TEXT_OF(x)  VORN_TEXT_OF_(x)

// A trace point with a line of vorn::lines, at the place of the macro.  It is static, so that a call stores nothing for
// it.
#define VORN_POINT(what)                                                                                               \
  ([]() -> const vorn::trace_point & {                                                                                 \
    static constexpr auto text =                                                                                       \
        vorn::trace_text(__FILE__ ":" VORN_TEXT_OF(__LINE__) "\x01", vorn::lines::what.format);                        \
    static constexpr vorn::trace_point point = {vorn::lines::what.level, __LINE__, text.data()};                       \
    return point;                                                                                                      \
  }())
