// The stand-in host: every service of host.h for programs that have no host of their own, such as tests, benchmarks
// and small tools.  What a service answers can be scripted, and what it was asked is recorded.
//
//     vorn_host::environment env;
//     env.record = true;
//     vorn_ctx ctx = env.context();
//     ctx.vorn_ctx_decompress = vorn_qpak_decode;    the host does not refer to the library, so the caller does
//     vorn_nfy(VORN_NFY_LOAD, &ctx);
//     ...
//     for (const std::string &line : env.transcript())
//       puts(line.c_str());
//
// The services expect vorn_ctx_env to be the address of an environment and a trace control block to be that of one.
#pragma once

#include "host.h"

#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vorn_host {

// A tagged value of a service, or an argument of its own: a number of a tag is int32_t, an argument of 64 bits and a
// bit pattern (component, flags, word) is uint64_t.
using value = std::variant<int32_t, double, const void *, std::string, uint64_t>;

// Names of pointers in a transcript.
class VORN_API pointer_names {
public:
  void name(const void *pointer, std::string text);

  // The name of a pointer, "null", or for one without a name "@1", "@2" and so on in the order of first appearance.
  std::string of(const void *pointer);

private:
  std::map<const void *, std::string> names_;
  unsigned numbered_ = 0;
};

// One recorded call of a service.
struct VORN_API service_call {
  std::string service;       // the function's name
  std::string text;          // message, format, name of an allocation, a library or a symbol
  std::vector<value> values; // the arguments that the environment's documentation lists, then the tagged values
  std::string source;        // "file:line" for the services that are told it

  // The call as one line: the service, the text in quotes, the values.  int32_t appears in decimal, uint64_t in
  // hexadecimal, double in the fewest digits that give it back, text in quotes with control characters escaped.
  std::string line(pointer_names &names, bool with_source = false) const;
};

// What host_raise_internal_error throws, and what every report is kept as.
struct VORN_API internal_error : std::exception {
  internal_error(std::string message_text, std::vector<value> message_values, void *argument);
  internal_error(const internal_error &) = default;
  internal_error &operator=(const internal_error &) = default;
  ~internal_error() override;

  // The message followed by the values.
  const char *what() const noexcept override;

  std::string message; // as the library gave it
  std::vector<value> values;
  void *error_arg;

private:
  std::string what_;
};

enum class error_policy {
  unwind, // throw internal_error
  resume  // return to the library
};

// Where a trace point stands.
struct trace_site {
  uint32_t component;
  const char *entry;
  const char *file;
  uint32_t line;
};

// What the trace services answer.  An empty function stands for the default that its comment tells.
struct trace_answers {
  // host_trace_eval_flags.  With a nonzero word, a level up to the number in its low byte is on: flags | 0x2, or
  // flags | 0x4 without a control block; else the flags as given.
  std::function<uint64_t(uint32_t component, uint32_t level, uint64_t flags, uint64_t trace_word)> eval_flags;
  // host_trace_eval_event.  The same rule.
  std::function<uint64_t(uint32_t component, uint32_t level, uint64_t flags, uint64_t word)> eval_event;
  // host_trace_check_event; no value means not armed.  Armed with a word of 0xff, so that all levels are on.
  std::function<std::optional<uint64_t>(const uint64_t *events, uint32_t event, const trace_site &site)> check_event;
  // host_trace_eval_filters.  Everything passes.
  std::function<bool(uint32_t level, uint64_t flags, const trace_site &site)> eval_filters;
  // host_trace_record: is handed each record, with its tagged values.
  std::function<void(const char *entry, const char *format, const std::vector<value> &values)> take_record;
};

// A host environment: its address goes into vorn_ctx_env, and it outlives every context made for it.  Set the public
// members and host_env_error_arg before the calls begin; the services may then run on any number of threads.
//
// Recorded services and their values:
//   host_raise_internal_error, host_soft_internal_error
//                              text: message; the tagged values
//   host_trace_eval_flags, host_trace_eval_event
//                              component, level, flags, word
//   host_trace_check_event     text: entry; event, component; answer
//   host_trace_eval_filters    text: entry; component, level, flags; answer
//   host_trace_record          text: format; entry, component, flags, the tagged values
//   host_trace_write           text: format; the tagged values
//   host_env_print             text: what was printed
//   vorn_ctx_alloc             text: name; heap, size, alignment hint, padding hint, tag
//   vornu_stack_alloc_align    text: name; size, alignment, padding
//   vornu_stack_free_align     text: name of the allocation
//   svorn_dlopen, svorn_dlsym  text: name; answer
//   host_clock_time64          the time
//   cpucap_query               code; answer
//   vornt_compare_res          both vectors, number of rows; answer
// An answer is 1 or 0.  qpak_decode is not recorded: it asks nothing of the environment.
class VORN_API environment : public host_env {
public:
  // Also adopts the calling thread.
  environment();
  // Frees what vorn_ctx_alloc gave, and scratch memory that was left behind by an unwound call.
  ~environment();
  environment(const environment &) = delete;
  environment &operator=(const environment &) = delete;

  // A cleared context with the environment, a vorn_ctx_alloc, and the scratch allocators of the host.  vorn_ctx_alloc
  // gives memory at a multiple of 64 with 64 readable bytes behind it, which belongs to the environment.
  // vorn_ctx_decompress is null: set it to vorn_qpak_decode where compressed streams are read.
  vorn_ctx context();

  // Makes this the environment of the calling thread for services that are told none: the clock, the capabilities,
  // the comparison, and the trace services with a null control block.  They are recorded here and its answers
  // apply.  Lasts until another environment adopts the thread or this one ends.
  void adopt_thread();

  // What host_raise_internal_error does after it kept the report.
  error_policy on_error = error_policy::unwind;
  // Keep the calls of services for calls() and transcript().
  bool record = false;
  // Where trace lines go, formatted with their values; null for nowhere.
  std::FILE *print_trace = nullptr;
  // host_env_print collects its output for printed(); otherwise it writes to stdout.
  bool capture_print = true;
  // Scratch memory is filled with this byte before it is handed out.
  std::optional<uint8_t> scratch_fill;
  trace_answers trace;

  // The control block, with four event words of its own.  At first attached, which makes it host_env_trace, inactive,
  // and all events clear.
  host_trace_ctl &trace_control();
  void attach_trace();
  void detach_trace();

  // The recorded calls, oldest first.
  std::vector<service_call> calls() const;
  void clear_calls();

  // The recorded calls as lines, with the names of name_pointer; other pointers are numbered.
  std::vector<std::string> transcript(bool with_source = false) const;
  void name_pointer(const void *pointer, std::string name);

  // All error reports so far, hard and soft, recorded or not.
  std::vector<internal_error> errors() const;
  void clear_errors();

  // The collected output of host_env_print.
  std::string printed() const;

  // Why the last svorn_dlopen or svorn_dlsym failed; empty when it did not.
  std::string load_error() const;

  // Blocks of vornu_stack_alloc_align that were not freed.
  size_t outstanding_scratch() const;

  // For the services themselves.
  struct state;
  state &internals() { return *state_; }

private:
  std::unique_ptr<state> state_;
};

// Settings of the process, for services without an environment.  All may be called from any thread.

// Fixes what host_clock_time64 gives; no value returns to the steady clock of the machine.
VORN_API void set_clock(std::optional<uint64_t> microseconds);

// The next answers of host_clock_time64, one per call; the last one stays.  An empty list returns to the machine's.
VORN_API void script_clock(std::vector<uint64_t> microseconds);

// Decides what cpucap_query says of a code; no value returns to the processor's answer.
VORN_API void override_capability(uint32_t code, std::optional<bool> present);

// The only folder where svorn_dlopen looks for "<name>.so".  With an empty path, and at first, it takes the folder of
// the running program or, when the file is not there, where an installation has it from there, mostly "../lib/vorn".
VORN_API void set_library_folder(std::filesystem::path folder);

} // namespace vorn_host
