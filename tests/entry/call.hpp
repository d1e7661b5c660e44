// A call of an entry point: operands, a host that records its services, and a kernel that follows a
// script.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/bytes.hpp"
#include "tests/support/golden.hpp"
#include "tests/support/implementation.hpp"

namespace vorn_test {

struct entry_call;
using step = void (*)(entry_call &);

// One row of the table of entries.
struct entry {
  const char *name; // of the transcript
  uint32_t (*call)(entry_call &);
  step put_in_force; // the scripted kernel in the place of the entry's own
  step set_up = [](entry_call &) {};
  std::vector<step> wrong = {};   // arguments that the entry reports, in the order of its checks
  bool needs_aux = false;         // without a report
  bool reports_refusal = false;   // of the kernel, as its last check
  step empty_slot = nullptr;      // takes the kernel away
  step generic_refuses = nullptr; // the entry has a self-check; makes its generic kernel refuse the operands
  bool compares_range = false;    // of rows, in the self-check
  bool shows_self_check = false;  // in all its cases
  bool by_type = false;           // the kernel follows from a type code
};
inline std::ostream &operator<<(std::ostream &out, const entry &which) { return out << which.name; }

// What the kernel in force does, and what it received.
struct kernel_script {
  uint32_t code = 60;
  std::function<void(vorn_aux &aux)> act = {};
  bool generic_first = false; // run the generic kernel of the entry before acting

  unsigned calls = 0, strays = 0; // strays: calls of kernels of other slots
  std::string seen = {};          // operands and changed fields
  size_t services = 0;            // calls of services before the kernel
};
inline kernel_script script;

// Items at an address that is a multiple of 8, but not of 16.
template <class T, size_t N>
struct beside_16 {
  alignas(16) uint64_t beside = 0;
  std::array<T, N> items = {};
  T *data() { return items.data(); }
};

// The records that a call may change.
struct call_records {
  vorn_ctx ctx = {};
  vorn_enc_ctx enc = {}, lo_enc = {}, hi_enc = {};
  vorn_cv res = {}, src = {}, lo = {}, hi = {}, set = {};
  vorn_hash_table hash_table = {};
  vorn_partition_buffer areas = {};
  vorn_transpose_table store = {}, matrix = {};
  vorn_aux aux = {};
};

// The standard call: 64 rows of the 8-bit codes 0 to 63, one-byte symbols, a filter of 12 rows and a list of two rows.
struct entry_call : call_records {
  explicit entry_call(const entry &described) : which(described) {
    env.on_error = vorn_host::error_policy::resume;
    env.record = true;
    ctx = env.context();
    ctx.vorn_ctx_call_counts = counts.data();
    ctx.vorn_ctx_rates = rates.data();
    vorn_global_ctx = initial_global_ctx;
    vorn_global_ctx.vorn_global_ctx_lib_name = "loaded";
    vorn_global_ctx.vorn_global_ctx_status = 5;
    for (size_t i = 0; i < 64; ++i)
      codes.items[i] = static_cast<uint8_t>(i);
    vorn_build_encoding_type_dict(&enc, 8, codes.data(), lengths, nullptr, 64, VORN_DICT_ONE_LENGTH, 0);
    vorn_build_encoding_type_dict(&lo_enc, 8, nullptr, nullptr, nullptr, 0, 0, VORN_CONST);
    hi_enc = lo_enc;
    vorn_build_vector(&res, vals.data(), lens.data(), flgs.data(), nullptr, nullptr, out.data(), 64, 0, nullptr, 0);
    vorn_build_vector(&src, codes.data(), nullptr, nullptr, &enc, nullptr, nullptr, 64, 64, &stream, 0);
    vorn_build_vector(&lo, &lo_code, nullptr, nullptr, &lo_enc, nullptr, nullptr, 1, 0, nullptr, 0);
    vorn_build_vector(&hi, &hi_code, nullptr, nullptr, &hi_enc, nullptr, nullptr, 1, 0, nullptr, 0);
    vorn_build_vector(&set, nullptr, nullptr, nullptr, nullptr, nullptr, members.data(), 0, 0, nullptr, 0);
    res.vorn_cv_popc = 77;
    aux.vorn_aux_filter_bv = filter.data();
    aux.vorn_aux_popc = 12;
    aux.vorn_aux_start_slot = 10;
    aux.vorn_aux_ones_vec = rows.data();
    aux.vorn_aux_ones_vec_size = 2;
    aux.vorn_aux_diag_code = 17;
    aux.vorn_aux_ctx = &earlier;
    which.set_up(*this);
    script = {};
    which.put_in_force(*this);
    running = this;
  }
  ~entry_call() {
    vorn_global_ctx = initial_global_ctx;
    vorn_host::script_clock({});
  }
  entry_call(const entry_call &) = delete;
  entry_call &operator=(const entry_call &) = delete;

  // Runs the entry.  Changes are changes from here.
  uint32_t run() {
    std::memcpy(static_cast<void *>(&before), static_cast<const call_records *>(this), sizeof before);
    return which.call(*this);
  }
  void arm(uint64_t word = 4) {
    ctx.vorn_ctx_trace = word;
    env.trace_control().trace_on = 1;
  }
  lines messages() const {
    lines texts;
    for (const auto &error : env.errors())
      texts.push_back(error.message);
    return texts;
  }
  lines transcript();
  // The changed fields, each with a blank before it.  The aux of the call's own counts as changed from a cleared one.
  std::string changes(const vorn_aux *used);
  std::string name(const void *pointer) { return names_.of(pointer); }
  void name_own_aux(const vorn_aux *used) {
    if (used != &aux)
      names_.name(used, "own");
  }

  const entry &which;
  vorn_host::environment env;
  vorn_ctx earlier = {};
  call_records before;
  vorn_aux *passed_aux = &aux;
  beside_16<uint8_t, 64> codes;
  beside_16<uint64_t, 2> out, filter = {0, {0xf0ff, 0}}, runs;
  beside_16<uint64_t, 4> members = {0, {0x2a, 0, 0, 0}};
  std::array<uint64_t, 64> vals = {};
  std::array<uint16_t, 64> lens = {}, flgs = {};
  std::array<uint32_t, 2> rows = {2, 5};
  uint32_t lo_code = 5, hi_code = 9;
  uint8_t lengths[2] = {0, 1}, constant_lengths[2] = {9, 5};
  void *stream = codes.data();
  std::vector<vorn_kernel> table;
  std::vector<uint32_t> counts = std::vector<uint32_t>(VORN_DISPATCH_SLOTS);
  std::vector<double> rates = std::vector<double>(VORN_DISPATCH_SLOTS);
  std::vector<uint64_t> stats = std::vector<uint64_t>(80);
  static inline entry_call *running = nullptr;

private:
  vorn_host::pointer_names names_;
};

// The kernel of every signature.  Kernels have aux last.
template <class Kernel>
struct scripted;
template <class... Operands>
struct scripted<uint32_t (*)(Operands...)> {
  static uint32_t kernel(Operands... operands) {
    vorn_aux *const aux = std::get<sizeof...(operands) - 1>(std::tuple(operands...));
    entry_call &call = *entry_call::running;
    ++script.calls;
    script.services = call.env.calls().size();
    const auto word = [&](auto operand) {
      if constexpr (std::is_pointer_v<decltype(operand)>)
        return call.name(reinterpret_cast<const void *>(operand));
      else
        return std::to_string(operand);
    };
    call.name_own_aux(aux);
    script.seen = "kernel";
    ((script.seen += " " + word(operands)), ...);
    script.seen += call.changes(aux);
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
  return function(&call.ctx, operand_of<operands>(call)..., call.passed_aux);
}

// The kernel is a slot of the dispatch table.
template <class Kernel, uint32_t slot>
void in_table(entry_call &call) {
  scripted<Kernel>::generic = std::bit_cast<Kernel>(vorn_dispatch_table[slot]);
  call.table.assign(2 * VORN_DISPATCH_SLOTS, std::bit_cast<vorn_kernel>(&scripted<Kernel>::stray));
  call.table[slot] = std::bit_cast<vorn_kernel>(&scripted<Kernel>::kernel);
  vorn_global_ctx.vorn_global_ctx_dispatch = call.table.data();
}

template <uint32_t slot>
void emptied_in_table(entry_call &call) {
  call.table[slot] = {};
}

// The kernel is a slot of the record in force.
template <auto slot>
void in_record(entry_call &) {
  using kernel = std::remove_reference_t<decltype(vorn_global_ctx.*slot)>;
  scripted<kernel>::generic = vorn_global_ctx.*slot;
  vorn_global_ctx.*slot = scripted<kernel>::kernel;
}
template <auto slot>
void emptied(entry_call &) {
  vorn_global_ctx.*slot = nullptr;
}

// The table of entries, and those rows that tests of their own need.
const std::vector<entry> &entries();
const entry &entry_of(std::string_view name);

} // namespace vorn_test
