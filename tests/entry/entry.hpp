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
  std::function<void(vorn_aux &aux)> act = {}; // null for nothing
  bool generic_first = false;                  // run the generic kernel of the slot before

  unsigned calls = 0, strays = 0;      // strays: calls of the kernels of other slots
  std::vector<uint64_t> operands = {}; // numbers and addresses, aux last
  vorn_aux aux = {};
  uint32_t flags = 0; // of the encoding context of src
  const uint64_t *mask = nullptr;
};
inline kernel_script script;

template <class Operand>
uint64_t word_of(Operand operand) {
  if constexpr (std::is_pointer_v<Operand>)
    return reinterpret_cast<uintptr_t>(operand);
  else
    return static_cast<uint64_t>(operand);
}

// Kernels have their source second and aux last.
template <class Kernel>
struct scripted;
template <class... Operands>
struct scripted<uint32_t (*)(Operands...)> {
  static uint32_t kernel(Operands... operands) {
    const std::tuple all = {operands...};
    vorn_aux *const aux = std::get<sizeof...(operands) - 1>(all);
    ++script.calls;
    script.operands = {word_of(operands)...};
    script.aux = *aux;
    if constexpr (std::is_same_v<std::tuple_element_t<1, decltype(all)>, vorn_cv *const>) {
      script.flags = std::get<1>(all)->vorn_cv_encoding_context->vorn_enc_ctx_flags;
      script.mask = std::get<1>(all)->vorn_cv_mask_bv;
    }
    if (script.generic_first)
      generic(operands...);
    if (script.act)
      script.act(*aux);
    return script.code;
  }
  static uint32_t stray(Operands...) {
    ++script.strays;
    return 61;
  }
  static inline uint32_t (*generic)(Operands...) = nullptr;
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
  std::array<uint8_t, 3> without_aux = from_clear;
};

struct counters {
  std::optional<unsigned> called, selective, third; // places in the three arrays of the statistics block
};

struct self_check_texts {
  std::string scratch, popcount, result;
  vorn_cv entry_call::*told = nullptr; // an operand that is told with a result, which comes first then; a range last
};

// How the entry is called, how the scripted kernel takes the place of its own, what a kernel is given before aux, and
// how a slot of the record is emptied.
struct shape {
  uint32_t (*call)(entry_call &);
  void (*put_in_force)(entry_call &);
  std::vector<uint64_t> (*operands)(entry_call &);
  void (*empty_slot)() = nullptr;
};

// What an entry does besides; a set of these.
enum traits : unsigned {
  takes_null_aux = 1,       // without a report
  prepares_runs = 2,        // sets the burst function of a run-length source and drops the filter
  clears_mask = 4,          // of the source
  hides_stream = 8,         // from the kernel, for the time of the call
  keeps_diagnostic = 16,    // of the kernel to itself
  drops_filter = 32,        // over a run-length source, and prepares nothing else
  ignores_force = 64,       // and has no self-check: it always runs the kernel in force
  traces_nothing = 128,     // nor is it timed
  leaves_context = 256,     // of aux alone
  does_without_kernel = 512 // nothing, when the slot is empty
};

struct entry {
  const char *name;
  const char *source;
  std::optional<uint32_t> slot; // of the dispatch table
  shape called;
  void (*set_up)(entry_call &) = [](entry_call &) {};
  std::vector<check> checks = {}; // in their order
  std::vector<trace_point> trace = {};
  uint32_t rate_rows = 64;          // when the kernel moves the start slot from 10 to 50
  std::optional<op_bits> bits = {}; // none: op bits and diagnostic code are left alone
  counters counted = {};
  std::optional<self_check_texts> self_check = {};
  unsigned does = 0;
  std::vector<vorn_enc_ctx entry_call::*> typed = {}; // whose types may have any upper bytes
  uint32_t generic_code = VORN_RESULT_DONE;           // of the generic kernel on the standard call
  uint32_t generic_popc = 0;
  std::optional<uint32_t> answer = {}; // none: the kernel's code

  // The checks that a call with or without an aux can come to, and whether it goes on without one.
  std::vector<check> checks_of(bool aux_given) const {
    std::vector<check> found = checks;
    std::erase_if(found, [&](const check &c) { return c.when == (aux_given ? check::no_aux : check::an_aux); });
    return found;
  }
  bool goes_on_without_aux() const {
    return (does & takes_null_aux) || std::ranges::find(checks, check::no_aux, &check::when) != checks.end();
  }
};

constexpr op_bits bits_kept = {{0, 0, 0}, {0xff, 0xff, 0xff}};

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
  explicit entry_call(const entry &described) : which(described) {
    env.on_error = vorn_host::error_policy::resume;
    env.record = true;
    ctx = env.context();
    counts.assign(VORN_DISPATCH_SLOTS, 0);
    rates.assign(VORN_DISPATCH_SLOTS, 0);
    stats.assign(80, 7);
    ctx.vorn_ctx_call_counts = counts.data();
    ctx.vorn_ctx_rates = rates.data();
    vorn_global_ctx = initial_global_ctx;
    vorn_global_ctx.vorn_global_ctx_lib_name = "loaded";
    vorn_global_ctx.vorn_global_ctx_status = 5;
    for (size_t i = 0; i < 64; ++i)
      codes.items[i] = static_cast<uint8_t>(i);
    filter.items = {0xf0ff, 0};
    members.items = {0x2a, 0, 0, 0};
    kept = codes.data();
    vorn_build_encoding_type_dict(&enc, 8, codes.data(), lengths, nullptr, 64, VORN_DICT_ONE_LENGTH, 0);
    vorn_build_encoding_type_dict(&lo_enc, 8, nullptr, nullptr, nullptr, 0, 0, VORN_CONST);
    hi_enc = lo_enc;
    vorn_build_vector(&res, vals.data(), lens.data(), flgs.data(), nullptr, nullptr, out.data(), 64, 0, nullptr, 0);
    vorn_build_vector(&src, codes.data(), nullptr, nullptr, &enc, nullptr, nullptr, 64, 64, &kept, 0);
    vorn_build_vector(&lo, &lo_code, nullptr, nullptr, &lo_enc, nullptr, nullptr, 1, 0, nullptr, 0);
    vorn_build_vector(&hi, &hi_code, nullptr, nullptr, &hi_enc, nullptr, nullptr, 1, 0, nullptr, 0);
    vorn_build_vector(&set, nullptr, nullptr, nullptr, nullptr, nullptr, members.data(), 0, 0, nullptr, 0);
    aux.vorn_aux_filter_bv = filter.data();
    aux.vorn_aux_popc = 12;
    aux.vorn_aux_start_slot = 10;
    aux.vorn_aux_ones_vec = rows.data();
    aux.vorn_aux_ones_vec_size = 2;
    aux.vorn_aux_diag_code = 17;
    aux.vorn_aux_ctx = &earlier;
    res.vorn_cv_popc = 77;
    which.set_up(*this);
    script = {};
    which.called.put_in_force(*this);
  }
  ~entry_call() {
    vorn_global_ctx = initial_global_ctx;
    vorn_host::script_clock({});
  }
  entry_call(const entry_call &) = delete;
  entry_call &operator=(const entry_call &) = delete;

  uint32_t run() { return which.called.call(*this); }
  uint32_t answer() const { return which.answer.value_or(script.code); }
  void run_generic() { ctx.vorn_ctx_flags |= VORN_CTX_FORCE_GENERIC; }
  void arm(uint64_t word = 4) {
    ctx.vorn_ctx_trace = word;
    env.trace_control().trace_on = 1;
  }
  // The calls of services since the last time, but for reports.
  std::vector<report> taken() {
    std::vector<report> found;
    for (const auto &call : env.calls())
      if (call.service != "host_raise_internal_error")
        found.emplace_back(call.text.empty() ? call.service : call.service + " " + call.text, call.values);
    env.clear_calls();
    return found;
  }
  std::vector<report> reports() const {
    std::vector<report> found;
    for (const auto &error : env.errors()) {
      EXPECT_EQ(error.error_arg, env.host_env_error_arg);
      found.emplace_back(error.message, error.values);
    }
    return found;
  }
  lines messages() const {
    lines texts;
    for (const auto &[message, told] : reports())
      texts.push_back(message);
    return texts;
  }

  const entry &which;
  vorn_host::environment env;
  vorn_ctx ctx = {}, earlier = {};
  vorn_enc_ctx enc = {}, lo_enc = {}, hi_enc = {};
  vorn_cv res = {}, src = {}, lo = {}, hi = {}, set = {};
  vorn_hash_table hash_table = {};
  vorn_partition_buffer areas = {};
  vorn_transpose_table store = {}, matrix = {};
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

// Makes src the big-endian hash values 0 to 63, for a map in lo of which 1, 3 and 5 are members.
inline void hold_hash_values(entry_call &c) {
  static std::array<uint32_t, 64> hashes;
  for (uint32_t row = 0; row < 64; ++row)
    hashes[row] = __builtin_bswap32(row);
  c.src.vorn_cv_vals = hashes.data();
  vorn_build_encoding_type_hash_values(&c.enc);
  c.enc.vorn_enc_ctx_width = 32;
  c.lo.vorn_cv_bv = c.members.data();
  c.vals[0] = uint64_t{5} << 32 | 1;
}

// The self-check of an entry whose generic kernel refuses the source: it compares unless that in force refuses as well.
inline void check_refusals(const entry &which, const lines &differences) {
  for (const uint32_t code : {VORN_RESULT_REFUSED, VORN_RESULT_DONE}) {
    entry_call call(which);
    call.enc.vorn_enc_ctx_flags = VORN_FIXED;
    call.ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
    script.code = code;
    call.run();
    EXPECT_EQ(call.messages(), code == VORN_RESULT_REFUSED ? lines{} : differences);
    EXPECT_EQ(call.env.outstanding_scratch(), 0U);
  }
}

// Operands are records of the call, or numbers as they are.
template <auto operand>
auto operand_of(entry_call &call) {
  if constexpr (std::is_member_object_pointer_v<decltype(operand)>)
    return &(call.*operand);
  else
    return operand;
}
template <auto function, auto... operands>
uint32_t call_of(entry_call &call) {
  return function(&call.ctx, operand_of<operands>(call)..., call.given);
}
template <auto... operands>
std::vector<uint64_t> words_of(entry_call &call) {
  return {word_of(operand_of<operands>(call))...};
}

// An entry that runs a kernel of the dispatch table, in all of whose slots scripted kernels stand; that of the entry is
// told from the others.
template <class Kernel, auto function, auto... operands>
shape in_table() {
  return {call_of<function, operands...>,
          [](entry_call &call) {
            const uint32_t slot = *call.which.slot;
            scripted<Kernel>::generic = std::bit_cast<Kernel>(vorn_dispatch_table[slot]);
            call.table.assign(VORN_DISPATCH_SLOTS, std::bit_cast<vorn_kernel>(&scripted<Kernel>::stray));
            call.table[slot] = std::bit_cast<vorn_kernel>(&scripted<Kernel>::kernel);
            vorn_global_ctx.vorn_global_ctx_dispatch = call.table.data();
          },
          words_of<operands...>};
}

// An entry whose kernel is a slot of the global record.
template <auto slot, auto function, auto... operands>
shape in_record() {
  using kernel = std::remove_reference_t<decltype(vorn_global_ctx.*slot)>;
  return {call_of<function, operands...>,
          [](entry_call &) {
            scripted<kernel>::generic = vorn_global_ctx.*slot;
            vorn_global_ctx.*slot = scripted<kernel>::kernel;
          },
          words_of<operands...>, [] { vorn_global_ctx.*slot = nullptr; }};
}

// Values as a report or a record has them.
inline vorn_host::value number(uint64_t value) { return static_cast<int32_t>(value); }
inline vorn_host::value address(const void *pointer) { return pointer; }
// Of the kernel, or of an entry without one.
inline vorn_host::value kernel_name(const entry &which) {
  return std::string(which.slot ? vorn_dispatch_func_names[*which.slot] : which.name);
}

inline void *result(entry_call &call) { return &call.res.vorn_cv_bv; }
inline void *source(entry_call &call) { return &call.src.vorn_cv_vals; }

inline check misaligned(std::string message, uint64_t vorn_global_ctx_t::*word,
                        std::function<void *(entry_call &)> field, check::needs when = check::any_call) {
  const auto pointer_at = [field](entry_call &call) {
    const char *pointer;
    std::memcpy(&pointer, field(call), sizeof pointer);
    return pointer;
  };
  return {std::move(message),
          [=](entry_call &call) {
            const char *const moved = pointer_at(call) + 1;
            std::memcpy(field(call), &moved, sizeof moved);
          },
          [=](entry_call &call) { return values{address(pointer_at(call))}; }, when, word};
}

inline check no_aux(std::string message) {
  return {std::move(message), [](entry_call &call) { call.given = nullptr; }, {}, check::no_aux};
}

// Reported with or without a filter.
inline check invert_flag(std::string message) {
  return {std::move(message),
          [](entry_call &call) {
            call.aux.vorn_aux_flags = VORN_AUX_INVERT_FILTER;
            call.aux.vorn_aux_filter_bv = nullptr;
          },
          [](entry_call &call) { return values{address(&call.aux)}; }, check::an_aux};
}

inline check misaligned_filter(std::string message) {
  return misaligned(
      std::move(message), &vorn_global_ctx_t::VORN_BITWVEC_ALIGN,
      [](entry_call &call) { return &call.aux.vorn_aux_filter_bv; }, check::an_aux);
}

inline check no_dictionary(std::string message) {
  return {std::move(message), [](entry_call &call) { call.enc.vorn_enc_ctx_flags &= ~uint32_t{VORN_DICT}; }};
}

// The line of a kernel by its name, and that of one by a value stream.
inline trace_point kernel_alone_line() {
  return {2, "%s force_generic: %d\n", [](const entry_call &call) {
            return values{kernel_name(call.which), number((call.ctx.vorn_ctx_flags & VORN_CTX_FORCE_GENERIC) != 0)};
          }};
}
inline trace_point kernel_line() {
  return {2, "%s force_generic: %d qpak: %d\n", [](const entry_call &call) {
            return values{kernel_name(call.which), number((call.ctx.vorn_ctx_flags & VORN_CTX_FORCE_GENERIC) != 0),
                          number((call.enc.vorn_enc_ctx_flags & VORN_STREAM) != 0)};
          }};
}

// The line of an operation whose kernel has no name of its own.
inline trace_point operation_line(const std::string &operation) {
  return {2, operation + " force_generic: %d\n", [](const entry_call &call) {
            return values{number((call.ctx.vorn_ctx_flags & VORN_CTX_FORCE_GENERIC) != 0)};
          }};
}

// The line of the implementation in force and the rows, with more values behind.
inline trace_point rows_line(const std::string &rest = "", std::function<values(const entry_call &)> more = {}) {
  return {3, "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d" + rest + "\n",
          [=](const entry_call &call) {
            values told = {std::string("loaded"), 5, address(vorn_global_ctx.vorn_global_ctx_dispatch),
                           number(call.src.vorn_cv_nrows)};
            if (more)
              std::ranges::copy(more(call), std::back_inserter(told));
            return told;
          }};
}

inline trace_point filter_line() {
  return {3, "filter_bv: %p popc: %d invert_filter: %d force_selective: %d\n",
          [](const entry_call &call) {
            return values{address(call.aux.vorn_aux_filter_bv), 12,
                          number((call.aux.vorn_aux_flags & VORN_AUX_INVERT_FILTER) != 0),
                          number((call.aux.vorn_aux_flags & VORN_AUX_FORCE_SELECTIVE) != 0)};
          },
          true};
}

class entry_test : public testing::TestWithParam<entry> {};

} // namespace vorn_test
