// The environment: contexts, memory for decompressed streams, printing, and the record of service calls.
#include "host/state.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

namespace vorn_host {

namespace {

constexpr size_t stream_alignment = 64;
constexpr size_t stream_padding = 64;

thread_local std::weak_ptr<environment *> adopted;

void *allocate_stream(void *env, void *heap, uint64_t size, const char *name, uint32_t align_hint, uint32_t pad_hint,
                      uint64_t tag) {
  environment &owner = environment_of(env);
  record(&owner, {.service = "vorn_ctx_alloc",
                  .text = text_or_null(name),
                  .values = {static_cast<const void *>(heap), size, number(align_hint), number(pad_hint), tag},
                  .source = {}});
  const size_t alignment = std::bit_ceil(std::max<size_t>(align_hint, stream_alignment));
  const size_t padding = std::max<size_t>(pad_hint, stream_padding);
  aligned_memory memory(size + padding, alignment);
  std::memset(static_cast<uint8_t *>(memory.get()) + size, 0, padding);

  environment::state &state = owner.internals();
  const std::lock_guard lock(state.guard);
  return state.allocations.emplace_back(std::move(memory)).get();
}

void print(void *env, const char *format, ...) {
  va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string text(static_cast<size_t>(std::max(length, 0)), '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);

  environment &owner = environment_of(env);
  record(&owner, {.service = "host_env_print", .text = text, .values = {}, .source = {}});
  if (!owner.capture_print) {
    std::fputs(text.c_str(), stdout);
    return;
  }
  environment::state &state = owner.internals();
  const std::lock_guard lock(state.guard);
  state.printed += text;
}

constexpr host_env_fns functions = {print};

} // namespace

environment::environment() : host_env{&functions, nullptr, nullptr}, state_(std::make_unique<state>(*this)) {
  host_env_error_arg = &state_->error_argument;
  state_->trace_control = {{state_->trace_events.data(), 0, 0}, this};
  state_->alive = std::make_shared<environment *>(this);
  attach_trace();
  adopt_thread();
}

environment::~environment() = default;

vorn_ctx environment::context() {
  vorn_ctx ctx{};
  ctx.vorn_ctx_env = static_cast<host_env *>(this);
  ctx.vorn_ctx_alloc = allocate_stream;
  ctx.vorn_ctx_stack_alloc = vornu_stack_alloc_align;
  ctx.vorn_ctx_stack_free = vornu_stack_free_align;
  return ctx;
}

void environment::adopt_thread() { adopted = state_->alive; }

environment *adopted_environment() {
  const std::shared_ptr<environment *> alive = adopted.lock();
  return alive ? *alive : nullptr;
}

host_trace_ctl &environment::trace_control() { return state_->trace_control.control; }
void environment::attach_trace() { host_env_trace = &trace_control(); }
void environment::detach_trace() { host_env_trace = nullptr; }

void record(environment *env, service_call call) {
  if (!env || !env->record)
    return;
  environment::state &state = env->internals();
  const std::lock_guard lock(state.guard);
  state.calls.push_back(std::move(call));
}

std::vector<service_call> environment::calls() const {
  const std::lock_guard lock(state_->guard);
  return state_->calls;
}

void environment::clear_calls() {
  const std::lock_guard lock(state_->guard);
  state_->calls.clear();
}

std::vector<std::string> environment::transcript(bool with_source) const {
  const std::lock_guard lock(state_->guard);
  pointer_names names = state_->names;
  std::vector<std::string> lines;
  for (const service_call &call : state_->calls)
    lines.push_back(call.line(names, with_source));
  return lines;
}

void environment::name_pointer(const void *pointer, std::string name) {
  const std::lock_guard lock(state_->guard);
  state_->names.name(pointer, std::move(name));
}

std::vector<internal_error> environment::errors() const {
  const std::lock_guard lock(state_->guard);
  return state_->errors;
}

void environment::clear_errors() {
  const std::lock_guard lock(state_->guard);
  state_->errors.clear();
}

std::string environment::printed() const {
  const std::lock_guard lock(state_->guard);
  return state_->printed;
}

std::string environment::load_error() const {
  const std::lock_guard lock(state_->guard);
  return state_->load_error;
}

size_t environment::outstanding_scratch() const {
  const std::lock_guard lock(state_->guard);
  return state_->scratch.size();
}

} // namespace vorn_host
