// The implementations of the kernels: their names, and the choice that a process makes at its start.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <vorn/stand_in.hpp>
#include <vorn/vorn.h>

namespace store {

// A specialised library.
struct instruction_set {
  std::string_view name; // as a user types it
  const char *library;   // the load name
  uint32_t capability;   // the host's code for it
};

// All of them, the best first.
std::span<const instruction_set> instruction_sets();

bool processor_runs(const instruction_set &isa);

// What the library does in addition to its work.
struct instrumentation {
  bool self_check = false; // run every specialised kernel against the generic one; and report each difference
  bool trace = false;      // print trace lines on standard error
  bool rates = false;      // time every call and keep the rates
};

// The library in one process.  The generic kernels stay available beside a specialised library.  The choice is
// made once per process and cannot be taken back.
class kernels {
public:
  // "generic", the name of an instruction set, or nothing for the best that the processor can run and whose library is
  // there.  Libraries are looked for in the folder or,
  // without one, beside the program.  Throws store::error for an unknown name, an instruction set that the processor
  // lacks, a library that cannot be loaded, and a self-check without one.
  kernels(std::optional<std::string_view> choice, const std::filesystem::path &folder,
          const instrumentation &more = {});

  const vorn_ctx &generic() const { return generic_context_; }

  // The implementation in force; generic() when no library was loaded.
  const vorn_ctx &chosen() const { return context_; }
  bool is_specialised() const;
  std::string_view name() const; // as a user types it

  // The reason why the library is not the best for the processor, or an empty text.
  const std::optional<std::string> &missing_library() const { return missing_library_; }

  // Does some work with the kernels in force, and reports the entry points that it calls and their kernels.  Several
  // threads may call `take` at once.
  using call_taker = std::function<void(std::string_view entry, std::string_view kernel)>;
  void observe(const std::function<void(const vorn_ctx &)> &work, const call_taker &take);

  // Prints the recorded rates, of the generic kernels and of those in force, on standard output.
  void print_rates() const;

private:
  // A counter and a rate for each slot of a dispatch table.
  struct slot_rates {
    std::vector<uint32_t> calls = std::vector<uint32_t>(VORN_DISPATCH_SLOTS);
    std::vector<double> rates = std::vector<double>(VORN_DISPATCH_SLOTS);
    void attach_to(vorn_ctx &ctx);
  };

  void load(const instruction_set &isa);
  void arm(const instrumentation &more);

  vorn_host::environment environment_;
  vorn_ctx context_;
  std::optional<std::string> missing_library_;
  vorn_ctx generic_context_{};
  slot_rates chosen_rates_;
  slot_rates generic_rates_;
};

} // namespace store
