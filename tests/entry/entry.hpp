// Entry points as descriptions.  Every test of entry_test.cpp runs for each entry that a suite instantiates it with; an
// entry is described by what it checks, traces, counts and does to its operands.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/implementation.hpp"

namespace vorn_test {

using lines = std::vector<std::string>;
using values = std::vector<vorn_host::value>;
using report = std::pair<std::string, values>; // what a service is told

struct entry_call;

// What the kernel in force does and what it was given.
struct kernel_script {
  uint32_t code = 60;
  std::function<void(vorn_cv &res, vorn_aux &aux)> act = {}; // null for nothing
  bool generic_first = false;                                // run the generic kernel of the slot before

  unsigned calls = 0, strays = 0; // strays: calls of the kernels of other slots
  std::vector<const void *> operands = {};
  vorn_aux aux = {};
  uint32_t flags = 0; // of the encoding context of src
  const uint64_t *mask = nullptr;
};
inline kernel_script script;

template <class Kernel>
struct scripted;
template <class... Operands>
struct scripted<uint32_t (*)(vorn_cv *, vorn_cv *, Operands...)> {
  static uint32_t kernel(vorn_cv *res, vorn_cv *src, Operands... operands) {
    vorn_aux *const aux = std::get<sizeof...(operands) - 1>(std::tuple{operands...});
    ++script.calls;
    script.operands = {res, src, operands...};
    script.aux = *aux;
    script.flags = src->vorn_cv_encoding_context->vorn_enc_ctx_flags;
    script.mask = src->vorn_cv_mask_bv;
    if (script.generic_first)
      std::bit_cast<decltype(&kernel)>(vorn_dispatch_table[generic_slot])(res, src, operands...);
    if (script.act)
      script.act(*res, *aux);
    return script.code;
  }
  static uint32_t stray(vorn_cv *, vorn_cv *, Operands...) {
    ++script.strays;
    return 61;
  }
  static inline uint32_t generic_slot = 0;
};

// A wrong argument: how a call comes to have it, and what the host is told.
struct check {
  enum needs { any_call, an_aux, no_aux, a_kernel_run };

  std::string message;
  std::function<void(entry_call &)> break_it;
  std::function<values(entry_call &)> told = {};
  needs when = any_call;
  uint64_t vorn_global_ctx_t::*word = nullptr; // the alignment word that it compares with
};

struct trace_point {
  int32_t level;
  std::string format;
  std::function<values(const entry_call &)> told;
  bool needs_aux = false;
};

struct op_bits {
  std::array<uint8_t, 3> from_clear, from_full;
};

struct counters {
  std::optional<unsigned> called, selective, third; // places in the three arrays of the statistics block
};

struct self_check_texts {
  std::string scratch, popcount, result;
};

struct entry {
  const char *name;
  const char *source;
  std::optional<uint32_t> slot; // of the dispatch table
  uint32_t (*call)(entry_call &);
  void (*put_in_force)(entry_call &, const entry &);
  std::vector<vorn_cv entry_call::*> operands;
  void (*set_up)(entry_call &) = [](entry_call &) {};
  std::vector<check> checks = {}; // in their order
  std::vector<trace_point> trace = {};
  bool traces_diagnostics = true;
  uint32_t rate_rows = 64;          // when the kernel moves the start slot from 10 to 50
  std::optional<op_bits> bits = {}; // none: op bits and diagnostic code are left alone
  counters counted = {};
  std::optional<self_check_texts> self_check = {};
  bool takes_null_aux = false; // without a report
  bool prepares_runs = false;  // sets the burst function of a run-length source and drops the filter
  bool clears_mask = false;
  bool hides_stream = false;                          // from the kernel, for the time of the call
  std::vector<vorn_enc_ctx entry_call::*> typed = {}; // whose types may have any upper bytes
  uint32_t generic_code = VORN_RESULT_DONE;           // of the generic kernel on the standard call
  uint32_t generic_popc = 0;

  // The checks that a call with or without an aux can come to, and whether it goes on without one.
  std::vector<check> checks_of(bool aux_given) const {
    std::vector<check> found = checks;
    std::erase_if(found, [&](const check &c) { return c.when == (aux_given ? check::no_aux : check::an_aux); });
    return found;
  }
  bool goes_on_without_aux() const {
    return takes_null_aux || std::ranges::find(checks, check::no_aux, &check::when) != checks.end();
  }
};

inline std::ostream &operator<<(std::ostream &out, const entry &which) { return out << which.name; }
inline std::string entry_name(const testing::TestParamInfo<entry> &info) { return info.param.name; }

constexpr uint32_t dict_8bit(uint32_t opcode) { return 7 << 7 | VORN_ENC_DICT << 5 | opcode; }

// Items at an address that is a multiple of 8, but not of 16.
template <class T, size_t N>
struct beside_16 {
  alignas(16) uint64_t beside = 0;
  std::array<T, N> items = {};
  T *data() { return items.data(); }
};

// The standard call: 64 rows of the 8-bit codes 0 to 63, one-byte symbols, a filter of 12 rows and a list of two.  The
// scripted kernel is in force and does nothing yet.
struct entry_call {
  explicit entry_call(const entry &described);
  ~entry_call() {
    vorn_global_ctx = initial_global_ctx;
    vorn_host::script_clock({});
  }
  entry_call(const entry_call &) = delete;
  entry_call &operator=(const entry_call &) = delete;

  uint32_t run() { return which.call(*this); }
  void run_generic() { ctx.vorn_ctx_flags |= VORN_CTX_FORCE_GENERIC; }
  void arm(uint64_t word = 4) {
    ctx.vorn_ctx_trace = word;
    env.trace_control().trace_on = 1;
  }
  // The calls of services since the last time, but for reports.
  std::vector<report> taken();
  std::vector<report> reports() const;
  lines messages() const;

  const entry &which;
  vorn_host::environment env;
  vorn_ctx ctx = {};
  vorn_enc_ctx enc = {}, lo_enc = {}, hi_enc = {};
  vorn_cv res = {}, src = {}, lo = {}, hi = {}, set = {};
  vorn_aux aux = {};
  vorn_aux *given = &aux;
  beside_16<uint8_t, 64> codes;
  beside_16<uint64_t, 2> out, filter, runs;
  beside_16<uint64_t, 4> members;
  std::array<uint64_t, 64> vals = {};
  std::array<uint16_t, 64> lens = {}, flgs = {};
  std::array<uint32_t, 2> rows = {2, 5};
  uint32_t lo_code = 5, hi_code = 9;
  uint8_t lengths[2] = {0, 1};
  void *kept = nullptr;
  std::vector<vorn_kernel> table;
  std::vector<uint32_t> counts;
  std::vector<double> rates;
  std::vector<uint64_t> stats;
};

// Puts scripted kernels of a shape into all slots of a dispatch table, of which that of the entry is told.
template <class Kernel>
void in_table(entry_call &call, const entry &which) {
  scripted<Kernel>::generic_slot = *which.slot;
  call.table.assign(VORN_DISPATCH_SLOTS, std::bit_cast<vorn_kernel>(&scripted<Kernel>::stray));
  call.table[*which.slot] = std::bit_cast<vorn_kernel>(&scripted<Kernel>::kernel);
  vorn_global_ctx.vorn_global_ctx_dispatch = call.table.data();
}

check misaligned(std::string message, uint64_t vorn_global_ctx_t::*word, std::function<void *(entry_call &)> field,
                 check::needs when = check::any_call);
check misaligned_filter(std::string message);
check no_dictionary(std::string message);

// Values as a report or a record has them.
inline vorn_host::value number(uint64_t value) { return static_cast<int32_t>(value); }
inline vorn_host::value address(const void *pointer) { return pointer; }
inline vorn_host::value kernel_name(const entry_call &call) {
  return std::string(vorn_dispatch_func_names[*call.which.slot]);
}

trace_point kernel_line();
// The line of the implementation in force and the rows, with more values behind.
trace_point rows_line(const std::string &rest = "", std::function<values(const entry_call &)> more = {});
trace_point filter_line();

class entry_test : public testing::TestWithParam<entry> {};

} // namespace vorn_test
