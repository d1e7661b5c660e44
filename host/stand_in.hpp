// The stand-in host: every service of host.h for programs without a host, such as tests, benchmarks and small tools.  A
// program can script the answers of services and record their calls.
//
//     vorn_host::environment env;
//     env.record = true;
//     vorn_ctx ctx = env.context();
//     ctx.vorn_ctx_decompress = vorn_qpak_decode;    the host does not link the library
//     vorn_nfy(VORN_NFY_LOAD, &ctx);
//     ...
//     for (const std::string &line : env.transcript())
//       puts(line.c_str());
//
// vorn_ctx_env has to be the address of an environment, and a trace control block has to belong to an environment.
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

// A tagged value or another argument of a service.  A tagged number is int32_t.  A 64-bit argument and a bit pattern
// (component, flags, word) are uint64_t.
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
  std::string source;        // "file:line" for the services with this argument

  // The call as one line: the service, the text in quotes, the values.  int32_t appears in decimal, uint64_t in
  // hexadecimal, double in the fewest digits that restore it, text in quotes with control characters escaped.
  std::string line(pointer_names &names, bool with_source = false) const;
};

// The exception of host_raise_internal_error, and the record of every report.
struct VORN_API internal_error : std::exception {
  internal_error(std::string message_text, std::vector<value> message_values, void *argument);
  internal_error(const internal_error &) = default;
  internal_error &operator=(const internal_error &) = default;
  ~internal_error() override;

  // The message followed by the values.
  const char *what() const noexcept override;

  std::string message; // as the library passed it
  std::vector<value> values;
  void *error_arg;

private:
  std::string what_;
};

enum class error_policy {
  unwind, // throw internal_error
  resume  // return to the library
};

// The place of a trace point.
struct trace_site {
  uint32_t component;
  const char *entry;
  const char *file;
  uint32_t line;
};

// The answers of the trace services.  An empty function means the default in its comment.
struct trace_answers {
  // host_trace_eval_flags.  With a nonzero word, a level up to the number in its low byte is on: flags | 0x2, or
  // flags | 0x4 without a control block; else the unchanged flags.
  std::function<uint64_t(uint32_t component, uint32_t level, uint64_t flags, uint64_t trace_word)> eval_flags;
  // host_trace_eval_event.  The same rule.
  std::function<uint64_t(uint32_t component, uint32_t level, uint64_t flags, uint64_t word)> eval_event;
  // host_trace_check_event; no value means not armed.  Armed with a word of 0xff, so that all levels are on.
  std::function<std::optional<uint64_t>(const uint64_t *events, uint32_t event, const trace_site &site)> check_event;
  // host_trace_eval_filters.  Everything passes.
  std::function<bool(uint32_t level, uint64_t flags, const trace_site &site)> eval_filters;
  // host_trace_record: receives each record with its tagged values.
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
// An answer is 1 or 0.  qpak_decode is not recorded, since it does not use the environment.
class VORN_API environment : public host_env {
public:
  // Also adopts the calling thread.
  environment();
  // Frees the memory of vorn_ctx_alloc, and scratch memory that an unwound call left.
  ~environment();
  environment(const environment &) = delete;
  environment &operator=(const environment &) = delete;

  // A cleared context with the environment, a vorn_ctx_alloc, and the scratch allocators of the host.  vorn_ctx_alloc
  // returns memory at a multiple of 64, followed by 64 readable bytes.  The environment owns the memory.
  // vorn_ctx_decompress is null: set it to vorn_qpak_decode where compressed streams are read.
  vorn_ctx context();

  // Makes this the environment of the calling thread for services without an environment: the clock, the capabilities,
  // the comparison, and the trace services with a null control block.  They are recorded here and its answers
  // apply.  Lasts until another environment adopts the thread or this one ends.
  void adopt_thread();

  // What host_raise_internal_error does after it recorded the report.
  error_policy on_error = error_policy::unwind;
  // Keep the calls of services for calls() and transcript().
  bool record = false;
  // Trace lines are printed here, formatted with their values; null prints none.
  std::FILE *print_trace = nullptr;
  // host_env_print collects its output for printed(); otherwise it writes to stdout.
  bool capture_print = true;
  // Scratch memory is filled with this byte before the service returns it.
  std::optional<uint8_t> scratch_fill;
  trace_answers trace;

  // The control block, with four event words.  At first it is attached, so it is host_env_trace; it is inactive and all
  // events are clear.
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

  // The reason why the last svorn_dlopen or svorn_dlsym failed; empty if it did not fail.
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

// Fixes the answer of host_clock_time64; no value restores the steady clock of the machine.
VORN_API void set_clock(std::optional<uint64_t> microseconds);

// The next answers of host_clock_time64, one per call; the last one stays.  An empty list restores the clock of the
// machine.
VORN_API void script_clock(std::vector<uint64_t> microseconds);

// Does the processor have all instructions of a code of cpucap_query?
VORN_API bool processor_has_capability(uint32_t code);

// cpucap_query denies a capability of the processor if no folder has the library of its code, so that the best present
// library is loaded.  The first time that this happens, a message goes to this function, or to standard error if the
// function is empty.
VORN_API void on_missing_library(std::function<void(const std::string &message)> take);

// Fixes the answer of cpucap_query for a code; no value restores the answer of the processor and the folders.
VORN_API void override_capability(uint32_t code, std::optional<bool> present);

// The only folder where svorn_dlopen and cpucap_query look for "<name>.so".  With an empty path, and at first, they
// look in the folder of the running program, then in the folder of libvornhost.so, then in the folder "vorn" there,
// where the specialised libraries are installed.
VORN_API void set_library_folder(std::filesystem::path folder);

} // namespace vorn_host
