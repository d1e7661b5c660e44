// The implementations of the kernels: their names, and the choice that a process makes at its start.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "frame/vorn.h"
#include "host/stand_in.hpp"

namespace store {

// A specialised library.
struct instruction_set {
  std::string_view name; // as a user types it
  const char *library;   // the load name
  uint32_t capability;   // the code that the host is asked for
};

// All of them, the best first.
std::span<const instruction_set> instruction_sets();

bool processor_runs(const instruction_set &isa);

// The library in one process.  The generic kernels stay at hand beside those of a specialised library.  The choice is
// made once per process and cannot be taken back.
class kernels {
public:
  // "generic", the name of an instruction set, or nothing for the best that the processor can run.  Libraries are
  // looked for in the folder or, without one, beside the program.  Throws store::error for an unknown name, an
  // instruction set that the processor lacks, and a library that cannot be loaded.
  kernels(std::optional<std::string_view> choice, const std::filesystem::path &folder);

  const vorn_ctx &generic() const { return generic_context; }

  // What is in force; the same as generic() when no library was loaded.
  const vorn_ctx &chosen() const { return context; }
  bool is_specialised() const;
  std::string name() const;

private:
  void load(const instruction_set &isa);

  vorn_host::environment environment;
  vorn_ctx context;
  vorn_ctx generic_context{};
};

} // namespace store
