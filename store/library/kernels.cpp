#include "store/library/kernels.hpp"

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>

#include "store/error.hpp"
#include <vorn/host.h>
#include <vorn/vorn_specialized.h>

namespace store {

namespace {

// "avx2" for "svxlavx219": the load name without its prefix and its version.
constexpr std::string_view short_name(std::string_view library) {
  library.remove_prefix(4);
  library.remove_suffix(2);
  return library;
}

#define VORN_INSTRUCTION_SET(capability, library) {short_name(library), library, capability},
constexpr instruction_set sets[] = {VORN_SPECIALIZED_LIBRARIES(VORN_INSTRUCTION_SET)};
static_assert(sets[0].name == "avx512" && sets[3].name == "sse42");

// The instruction set to load, or null for none.  The host confirms a level if its library is there.
const instruction_set *find(std::optional<std::string_view> choice) {
  const auto confirmed = [](const instruction_set &isa) {
    uint32_t answer[4] = {};
    return cpucap_query(isa.capability, answer) == 0 && answer[0] == 0 && answer[2] == 1;
  };
  if (!choice) {
    const auto *best = std::find_if(std::begin(sets), std::end(sets), confirmed);
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
  throw error(
      fmt::format("unknown instruction set '{}'; it is one of generic, sse42, avx, avx2, avx512", shortened(*choice)));
}

} // namespace

std::span<const instruction_set> instruction_sets() { return sets; }

bool processor_runs(const instruction_set &isa) { return vorn_host::processor_has_capability(isa.capability); }

kernels::kernels(std::optional<std::string_view> choice, const std::filesystem::path &folder,
                 const instrumentation &more)
    : context_(environment_.context()) {
  context_.vorn_ctx_decompress = vorn_qpak_decode;
  vorn_host::set_library_folder(folder);
  vorn_host::on_missing_library([&](const std::string &message) {
    if (!choice)
      missing_library_ = message;
  });
  if (const instruction_set *isa = find(choice))
    load(*isa);
  else
    vorn_nfy(VORN_NFY_LOAD, &context_);
  vorn_host::on_missing_library(nullptr);
  generic_context_ = context_;
  generic_context_.vorn_ctx_flags |= VORN_CTX_FORCE_GENERIC;
  arm(more);
}

void kernels::arm(const instrumentation &more) {
  if (more.self_check) {
    if (!is_specialised())
      throw error("there is nothing to check the generic kernels against; a self-check needs a specialised library");
    context_.vorn_ctx_flags |= VORN_CTX_SELF_CHECK;
  }
  if (!more.trace && !more.rates)
    return;
  // A call is timed when its timing line is enabled, even if the line is not printed.
  constexpr uint32_t timing_level = 4;
  environment_.trace_control().trace_on = 1;
  if (more.trace)
    environment_.print_trace = stderr;
  else
    environment_.trace.eval_flags = [](uint32_t, uint32_t level, uint64_t flags, uint64_t) {
      constexpr uint64_t record = 0x2;
      return level == timing_level ? flags | record : flags;
    };
  for (vorn_ctx *ctx : {&context_, &generic_context_})
    ctx->vorn_ctx_trace = timing_level;
  if (more.rates) {
    chosen_rates_.attach_to(context_);
    generic_rates_.attach_to(generic_context_);
  }
}

void kernels::observe(const std::function<void(const vorn_ctx &)> &work, const call_taker &take) {
  constexpr uint32_t kernel_level = 2;
  environment_.trace_control().trace_on = 1;
  // For a kernel of the dispatch table, the first value of the trace line is its name.  Every other kernel has the name
  // of its entry point.
  environment_.trace.take_record = [&](const char *entry, const char *, const std::vector<vorn_host::value> &values) {
    const auto *kernel = std::get_if<std::string>(&values.front());
    take(entry, kernel != nullptr ? *kernel : entry);
  };
  vorn_ctx observed = context_;
  observed.vorn_ctx_trace = kernel_level;
  work(observed);
  environment_.trace.take_record = nullptr;
}

void kernels::slot_rates::attach_to(vorn_ctx &ctx) {
  ctx.vorn_ctx_flags |= VORN_CTX_ACCUMULATE;
  ctx.vorn_ctx_call_counts = calls.data();
  ctx.vorn_ctx_rates = rates.data();
}

void kernels::print_rates() const {
  constexpr uint32_t only_called = 1;
  fmt::print("\nrates of generic\n");
  vorn_stats_dump(&generic_context_, only_called);
  if (is_specialised()) {
    fmt::print("\nrates of {}\n", name());
    vorn_stats_dump(&context_, only_called);
  }
}

void kernels::load(const instruction_set &isa) {
  context_.vorn_ctx_init_flags |= VORN_INIT_SPECIALIZED;
  context_.vorn_ctx_lib_name = isa.library;
  try {
    vorn_nfy(VORN_NFY_LOAD, &context_);
  } catch (const vorn_host::internal_error &failure) {
    const std::string reason = environment_.load_error();
    throw error(fmt::format("cannot load {}: {}", isa.library, reason.empty() ? failure.what() : reason));
  }
  // The record says what runs; anything else would be a silent fallback.
  if (!is_specialised() || name() != isa.name)
    throw error(fmt::format("{} was loaded, but {} is in force", isa.library, name()));
}

bool kernels::is_specialised() const { return vorn_global_ctx.vorn_global_ctx_status == VORN_STATUS_SPECIALIZED; }

std::string_view kernels::name() const {
  const std::string_view in_force = vorn_global_ctx.vorn_global_ctx_lib_name;
  for (const instruction_set &isa : sets)
    if (isa.library == in_force)
      return isa.name;
  return in_force;
}

} // namespace store
