#include "store/implementation.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "frame/host.h"
#include "store/error.hpp"

namespace store {

namespace {

constexpr instruction_set sets[] = {
    {"avx512", "svxlavx51219", 269},
    {"avx2", "svxlavx219", 267},
    {"avx", "svxlavx19", 259},
    {"sse42", "svxlsse4219", 258},
};

// The instruction set to load, or null for none.
const instruction_set *find(std::optional<std::string_view> choice) {
  if (!choice) {
    const auto *best = std::find_if(std::begin(sets), std::end(sets), processor_runs);
    return best == std::end(sets) ? nullptr : best;
  }
  if (*choice == "generic")
    return nullptr;
  for (const instruction_set &isa : sets)
    if (isa.name == *choice) {
      if (!processor_runs(isa))
        throw error(fmt::format("this processor cannot run {}", isa.name));
      return &isa;
    }
  throw error(fmt::format("unknown instruction set '{}'; it is one of generic, sse42, avx, avx2, avx512", *choice));
}

} // namespace

std::span<const instruction_set> instruction_sets() { return sets; }

bool processor_runs(const instruction_set &isa) {
  uint32_t answer[4] = {};
  return cpucap_query(isa.capability, answer) == 0 && answer[0] == 0 && answer[2] == 1;
}

kernels::kernels(std::optional<std::string_view> choice, const std::filesystem::path &folder)
    : context(environment.context()) {
  vorn_host::set_library_folder(folder);
  if (const instruction_set *isa = find(choice))
    load(*isa);
  else
    vorn_nfy(VORN_NFY_LOAD, &context);
  generic_context = context;
  generic_context.vorn_ctx_flags |= VORN_CTX_FORCE_GENERIC;
}

void kernels::load(const instruction_set &isa) {
  context.vorn_ctx_init_flags |= VORN_INIT_SPECIALIZED;
  context.vorn_ctx_lib_name = isa.library;
  try {
    vorn_nfy(VORN_NFY_LOAD, &context);
  } catch (const vorn_host::internal_error &failure) {
    const std::string reason = environment.load_error();
    throw error(fmt::format("cannot load {}: {}", isa.library, reason.empty() ? failure.what() : reason));
  }
  // The record says what runs; anything else would be a silent fallback.
  if (!is_specialised() || name() != isa.library)
    throw error(fmt::format("{} was loaded, but {} is in force", isa.library, name()));
}

bool kernels::is_specialised() const { return vorn_global_ctx.vorn_global_ctx_status == VORN_STATUS_SPECIALIZED; }

std::string kernels::name() const { return vorn_global_ctx.vorn_global_ctx_lib_name; }

} // namespace store
