// The state of an environment, and how the services find it and write to it.
#pragma once

#include "host/stand_in.hpp"

#include <array>
#include <cstdarg>
#include <cstddef>
#include <mutex>
#include <unordered_map>

namespace vorn_host {

// Memory at an alignment, freed with the same alignment.
class aligned_memory {
public:
  aligned_memory(size_t bytes, size_t alignment)
      : memory_(::operator new (bytes, std::align_val_t{alignment}), release{alignment}) {}
  void *get() const { return memory_.get(); }

private:
  struct release {
    size_t alignment;
    void operator()(void *memory) const { ::operator delete (memory, std::align_val_t{alignment}); }
  };
  std::unique_ptr<void, release> memory_;
};

struct scratch_block {
  std::string name;
  aligned_memory memory;
};

// Services that receive only the control block find its owner here.
struct owned_trace_control {
  host_trace_ctl control;
  environment *owner;
};

struct environment::state {
  explicit state(environment &environment_itself) : owner(environment_itself) {}

  environment &owner;
  std::array<uint64_t, 4> trace_events{};
  owned_trace_control trace_control{};
  // The usual error argument of an environment.  Its address has no other use, so a wrong argument is visible.
  char error_argument = 0;
  // Nothing else owns it, so an adopted thread sees whether the environment still exists.
  std::shared_ptr<environment *> alive;

  mutable std::mutex guard; // of everything below
  std::vector<service_call> calls;
  std::vector<internal_error> errors;
  pointer_names names;
  std::string printed;
  std::string load_error;
  std::vector<aligned_memory> allocations;
  std::unordered_map<const void *, std::unique_ptr<scratch_block>> scratch;
};

inline environment &environment_of(void *env) { return *static_cast<environment *>(static_cast<host_env *>(env)); }

// The environment that adopted this thread, null for none.
environment *adopted_environment();

// The owner of the control block; for a null block the environment that adopted the thread.
inline environment *environment_of(host_trace_ctl *control) {
  return control ? reinterpret_cast<owned_trace_control *>(control)->owner : adopted_environment();
}

// Stores the call if the environment exists and records.
void record(environment *env, service_call call);

// Reports like host_raise_internal_error, with the values in a vector.
void raise_internal_error(environment &env, void *error_arg, const char *message, std::vector<value> values);

// Appends `count` pairs of tag and value, the form in which the services take them.
void append_tagged(std::vector<value> &values, uint32_t count, va_list &pairs);

// The format with the values.  A conversion that does not match the type of its value prints the value as a transcript
// does.  A conversion without a value prints "<missing>".
std::string format_values(const char *format, const value *values, size_t count);

// One value in the form of a transcript.
std::string render(const value &item, pointer_names &names);

// The folders where the host looks for a specialised library, and its file if one of them has it.
std::vector<std::filesystem::path> library_folders();
std::optional<std::filesystem::path> library_file(const std::string &name);

inline std::string text_or_null(const char *text) { return text ? text : "(null)"; }

// An argument of a service that is a number, not a bit pattern.
inline int32_t number(uint32_t argument) { return static_cast<int32_t>(argument); }

} // namespace vorn_host
