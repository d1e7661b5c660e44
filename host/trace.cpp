// The diagnostic trace: the answers of the gates, and the records.
#include "host/state.hpp"

#include <cstring>

using namespace vorn_host;

namespace {

constexpr uint64_t flag_record = 0x2;
constexpr uint64_t flag_write = 0x4; // the flag that counts without a control block
constexpr uint64_t word_all_levels = 0xff;

uint64_t flags_of_level(const host_trace_ctl *ctl, uint32_t level, uint64_t flags, uint64_t word) {
  if (word == 0 || level > (word & 0xff))
    return flags;
  return flags | (ctl ? flag_record : flag_write);
}

std::string source_of(const char *file, uint32_t line) { return text_or_null(file) + ':' + std::to_string(line); }

void print_line(const environment &env, const char *format, const std::vector<value> &values) {
  if (!env.print_trace)
    return;
  const std::string text = format_values(format, values.data(), values.size());
  std::fputs(text.c_str(), env.print_trace);
}

} // namespace

uint64_t host_trace_eval_flags(struct host_trace_ctl *ctl, uint32_t component, uint32_t level, uint64_t flags,
                               uint64_t trace_word) {
  environment *env = environment_of(ctl);
  record(env, {.service = "host_trace_eval_flags",
               .text = {},
               .values = {uint64_t{component}, number(level), flags, trace_word},
               .source = {}});
  return env && env->trace.eval_flags ? env->trace.eval_flags(component, level, flags, trace_word)
                                      : flags_of_level(ctl, level, flags, trace_word);
}

uint64_t host_trace_eval_event(struct host_trace_ctl *ctl, uint32_t component, uint32_t level, uint64_t flags,
                               uint64_t word) {
  environment *env = environment_of(ctl);
  record(env, {.service = "host_trace_eval_event",
               .text = {},
               .values = {uint64_t{component}, number(level), flags, word},
               .source = {}});
  return env && env->trace.eval_event ? env->trace.eval_event(component, level, flags, word)
                                      : flags_of_level(ctl, level, flags, word);
}

uint32_t host_trace_check_event(struct host_trace_ctl *ctl, const uint64_t *events, uint32_t event, uint32_t component,
                                uint64_t *word, const char *entry, const char *file, uint32_t line, uint32_t) {
  environment *env = environment_of(ctl);
  std::optional<uint64_t> armed = word_all_levels;
  if (env && env->trace.check_event)
    armed = env->trace.check_event(events, event, {component, entry, file, line});
  if (armed)
    *word = *armed;
  record(env, {.service = "host_trace_check_event",
               .text = text_or_null(entry),
               .values = {uint64_t{event}, uint64_t{component}, int32_t{armed.has_value()}},
               .source = source_of(file, line)});
  return armed.has_value();
}

uint32_t host_trace_eval_filters(struct host_trace_ctl *ctl, void *, uint32_t component, uint32_t, uint32_t level,
                                 uint64_t flags, uint32_t, const char *entry, const char *file, uint32_t line) {
  environment *env = environment_of(ctl);
  const bool passes =
      !env || !env->trace.eval_filters || env->trace.eval_filters(level, flags, {component, entry, file, line});
  record(env, {.service = "host_trace_eval_filters",
               .text = text_or_null(entry),
               .values = {uint64_t{component}, number(level), flags, int32_t{passes}},
               .source = source_of(file, line)});
  return passes;
}

void host_trace_record(struct host_trace_ctl *ctl, uint32_t component, uint32_t, uint64_t flags, const char *entry,
                       uint32_t, const char *text, uint32_t nvalues, ...) {
  environment *env = environment_of(ctl);
  if (!env)
    return;
  std::vector<value> values;
  va_list pairs;
  va_start(pairs, nvalues);
  append_tagged(values, nvalues, pairs);
  va_end(pairs);

  const char *separator = std::strchr(text, '\x01');
  const std::string source = separator ? std::string(text, separator) : std::string();
  const char *format = separator ? separator + 1 : text;
  print_line(*env, format, values);
  if (env->trace.take_record)
    env->trace.take_record(entry, format, values);
  values.insert(values.begin(), {text_or_null(entry), uint64_t{component}, flags});
  record(env, {.service = "host_trace_record", .text = format, .values = std::move(values), .source = source});
}

void host_trace_write(void *env, const char *format, uint32_t nvalues, ...) {
  environment &owner = environment_of(env);
  std::vector<value> values;
  va_list pairs;
  va_start(pairs, nvalues);
  append_tagged(values, nvalues, pairs);
  va_end(pairs);

  print_line(owner, format, values);
  record(&owner, {.service = "host_trace_write", .text = format, .values = std::move(values), .source = {}});
}
