// Benchmarks of the filled slots of the dispatch table, for every implementation that this processor can run.
//
//   in_cache      65,536 rows, again and again
//   out_of_cache  a stream of 256 MB
//   selectivity   65,536 rows of which 1, 50 or 99 percent match
//   twin          65,536 rows of which a filter keeps 1, 10 or 50 percent
//   runs_of       bursts over 65,536 rows in runs of about 4, 20 or 100, half of them selected
//   call          whole calls of an entry point, for few rows
//
// Grows/s is 10^9 rows a second.  of_read compares with a plain read of the same bytes, timed in turn with the kernel
// within the run: 1 means as fast as reading.  Pin the process to a core; --benchmark_out=FILE writes JSON.  The
// placeholder kernels, which do nothing, are left out.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/report.hpp"
#include "frame/vorn_specialized.h"
#include "host/stand_in.hpp"

namespace {

using clock_type = std::chrono::steady_clock;

constexpr uint64_t cached_rows = 65536;
constexpr uint64_t stream_bytes = 256U << 20;

struct implementation {
  std::string name;
  const vorn_kernel *table;
};

vorn_host::environment &environment() {
  static vorn_host::environment env;
  return env;
}

// The generic table and those of the specialised libraries that can run here, all at once: benchmarks call the kernels
// of a table without putting its record in force.
std::vector<implementation> implementations() {
  std::vector<implementation> found = {{"generic", vorn_dispatch_table}};
  vorn_ctx ctx = environment().context();
  const auto add = [&](uint32_t capability, const char *name) {
    uint32_t answer[3] = {};
    void *handle = nullptr;
    if (cpucap_query(capability, answer) != 0 || answer[2] != 1 || svorn_dlopen(&ctx, name, &handle) == 0)
      return;
    const auto *record = static_cast<const vorn_global_ctx_t *>(svorn_dlsym(&ctx, handle, VORN_SPECIALIZED_SYMBOL));
    found.push_back({name, record->vorn_global_ctx_dispatch});
  };
#define VORN_ADD(capability, name) add(capability, name);
  VORN_SPECIALIZED_LIBRARIES(VORN_ADD)
  return found;
}

// Random bytes: uniformly distributed codes and values at every width.
const std::vector<uint64_t> &random_words() {
  static const std::vector<uint64_t> words = [] {
    std::vector<uint64_t> filled(stream_bytes / 8 + 8);
    std::mt19937_64 random(42);
    std::generate(filled.begin(), filled.end(), std::ref(random));
    return filled;
  }();
  return words;
}

template <size_t Lanes>
[[gnu::always_inline]] inline uint64_t sum_words(const uint64_t *words, size_t count) {
  uint64_t sums[Lanes] = {};
  size_t i = 0;
  for (; i + Lanes <= count; i += Lanes)
    for (size_t k = 0; k < Lanes; ++k)
      sums[k] += words[i + k];
  for (; i < count; ++i)
    sums[0] += words[i];
  uint64_t sum = 0;
  for (const uint64_t part : sums)
    sum += part;
  return sum;
}

[[gnu::target("avx2")]] uint64_t plain_read_avx2(const uint64_t *words, size_t count) {
  return sum_words<32>(words, count);
}
uint64_t plain_read_baseline(const uint64_t *words, size_t count) { return sum_words<16>(words, count); }

void plain_read(const uint64_t *words, size_t count) {
  static const bool avx2 = __builtin_cpu_supports("avx2");
  benchmark::DoNotOptimize(avx2 ? plain_read_avx2(words, count) : plain_read_baseline(words, count));
}

double seconds(clock_type::time_point from, clock_type::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

struct slot_axes {
  uint32_t index;
  uint32_t opcode() const { return index & 31; }
  uint32_t encoding() const { return index >> 5 & 3; }
  bool flag() const { return index >> 12; }
  unsigned width() const { return static_cast<unsigned>(std::stoul(vorn_datawidth_name(index >> 7 & 31))); }
  bool range() const { return opcode() >= VORN_OPC_GT_LT && opcode() <= VORN_OPC_GE_LE; }
  const char *name() const { return vorn_dispatch_func_names[index]; }
};

// The predicates and sets, whatever the encoding.
std::vector<slot_axes> scan_slots() {
  std::vector<slot_axes> slots;
  for (uint32_t index = 0; index < VORN_DISPATCH_SLOTS; ++index)
    if (vorn_dispatch_table[index].binary != nullptr &&
        ((index & 31) <= VORN_OPC_GE_LE || (index & 31) == VORN_OPC_SET))
      slots.push_back({index});
  return slots;
}

// Length codes of 4 bits that are legal, 0 to 7.
const std::vector<uint64_t> &random_nibbles() {
  static const std::vector<uint64_t> words = [] {
    std::vector<uint64_t> filled = random_words();
    for (uint64_t &word : filled)
      word &= 0x7777777777777777U;
    return filled;
  }();
  return words;
}

// One call of a kernel with everything that it needs.
struct kernel_call {
  kernel_call(const vorn_kernel *table, slot_axes which, uint64_t rows, double selectivity)
      : kernel(table[which.index]), range(which.range()), out((rows + 63) / 64) {
    const unsigned width = which.width();
    build_encoding(which);
    build_constants(which, selectivity);
    const auto count = static_cast<uint32_t>(rows);
    const auto &lengths = width == 64 ? random_nibbles() : random_words();
    auto *lens = const_cast<uint64_t *>(lengths.data());
    auto *stream = const_cast<uint64_t *>(random_words().data());
    vorn_build_vector(&res, nullptr, nullptr, nullptr, nullptr, nullptr, out.data(), count, 0, nullptr, 0);
    vorn_build_vector(&src, stream, lens, nullptr, &enc, nullptr, nullptr, count, 0, nullptr, 0);
    vorn_build_vector(&lo, lo_value, &length_code, nullptr, &enc, nullptr, nullptr, 1, 0, nullptr, 0);
    vorn_build_vector(&hi, hi_value, &length_code, nullptr, &enc, nullptr, nullptr, 1, 0, nullptr, 0);
    if (which.opcode() == VORN_OPC_SET) {
      members.assign(std::max<uint64_t>(1, (uint64_t{1} << width) / 64), 0xb5a9c3d2e17f0864U);
      lo.vorn_cv_bv = members.data();
    }
  }

  void run() {
    if (range)
      kernel.ternary(&res, &src, &lo, &hi, &aux);
    else
      kernel.binary(&res, &src, &lo, &aux);
  }

  void build_encoding(slot_axes which) {
    const unsigned width = which.width();
    if (which.encoding() == VORN_ENC_DICT)
      vorn_build_encoding_type_dict(&enc, width, nullptr, nullptr, nullptr, 0, 0, which.flag() ? VORN_NULLS : 0);
    else if (which.encoding() == VORN_ENC_FIXED)
      vorn_build_encoding_type_fixed(&enc, width, which.flag() ? VORN_TZ : 0);
    else
      vorn_build_encoding_type_dynp(&enc, width, 0, 0, which.flag() ? VORN_TZ : 0);
  }

  // One bound at the selectivity, or two at a quarter and three quarters of the numbers.
  void build_constants(slot_axes which, double selectivity) {
    const double low = which.range() ? 0.25 : selectivity;
    const double high = 0.75;
    if (which.encoding() == VORN_ENC_DICT) {
      // A width of 64 compares with a 32-bit constant: nearly all of its codes lie above.
      const unsigned width = std::min(which.width(), 32U);
      const double top = static_cast<double>((uint64_t{1} << width) - 1);
      const uint32_t codes[] = {static_cast<uint32_t>(top * low), static_cast<uint32_t>(top * high)};
      std::memcpy(lo_value, &codes[0], sizeof codes[0]);
      std::memcpy(hi_value, &codes[1], sizeof codes[1]);
    } else {
      lo_value[0] = static_cast<uint8_t>(255 * low); // most significant byte first
      hi_value[0] = static_cast<uint8_t>(255 * high);
    }
  }

  vorn_kernel kernel;
  bool range;
  std::vector<uint64_t> out;
  std::vector<uint64_t> members;
  alignas(8) uint8_t lo_value[8] = {};
  alignas(8) uint8_t hi_value[8] = {};
  uint8_t length_code = 1;
  vorn_enc_ctx enc = {};
  vorn_cv res = {}, src = {}, lo = {}, hi = {};
  vorn_aux aux = {};
};

void scan(benchmark::State &state, const vorn_kernel *table, slot_axes which, uint64_t rows, double selectivity) {
  kernel_call call(table, which, rows, selectivity);
  const uint64_t bytes = rows * which.width() / 8;
  const unsigned reads = bytes < (1U << 20) ? 16 : 1; // so that the clock does not count
  double kernel_time = 0, read_time = 0;
  call.run();
  for (auto _ : state) {
    const auto start = clock_type::now();
    call.run();
    const auto between = clock_type::now();
    for (unsigned i = 0; i < reads; ++i)
      plain_read(random_words().data(), bytes / 8);
    const auto end = clock_type::now();
    kernel_time += seconds(start, between);
    read_time += seconds(between, end) / reads;
    state.SetIterationTime(seconds(start, between));
  }
  state.counters["Grows/s"] = static_cast<double>(rows) * static_cast<double>(state.iterations()) / kernel_time / 1e9;
  state.counters["of_read"] = read_time / kernel_time;
  state.counters["width"] = which.width();
}

void twin(benchmark::State &state, const vorn_kernel *table, slot_axes which, unsigned per_cent) {
  kernel_call call(table, which, cached_rows, 0.5);
  std::vector<uint64_t> filter(cached_rows / 64);
  std::mt19937_64 random(7);
  for (uint64_t row = 0; row < cached_rows; ++row)
    filter[row / 64] |= uint64_t{random() % 100 < per_cent} << row % 64;
  call.aux.vorn_aux_filter_bv = filter.data();
  call.aux.vorn_aux_flags = VORN_AUX_FORCE_SELECTIVE;
  for (auto _ : state)
    call.run();
  state.counters["Grows/s"] =
      benchmark::Counter(static_cast<double>(cached_rows) / 1e9, benchmark::Counter::kIsIterationInvariantRate);
}

// Runs of about one length, half of them selected.  The rate counts rows.
void burst(benchmark::State &state, const vorn_kernel *table, slot_axes which, uint32_t run_length) {
  const bool wide = which.width() > 8;
  const bool indexed = which.width() % 8 == 0;
  const auto nruns = static_cast<uint32_t>(cached_rows / run_length);
  std::mt19937_64 random(9);
  std::vector<uint8_t> lens(nruns * 2), cla(4 * (nruns + 1));
  std::vector<uint64_t> selected((nruns + 63) / 64);
  uint32_t rows = 0;
  for (uint32_t run = 0; run < nruns; ++run) {
    const auto length = static_cast<uint32_t>(run_length / 2 + random() % (run_length + 1));
    lens[wide ? 2 * run + 1 : run] = static_cast<uint8_t>(length);
    rows += length;
    const uint32_t end = __builtin_bswap32(rows);
    std::memcpy(&cla[4 * (run + 1)], &end, sizeof end);
    selected[run / 64] |= (random() & 1) << run % 64;
  }
  vorn_enc_ctx enc;
  vorn_build_encoding_type_dict(&enc, 8, nullptr, nullptr, nullptr, 0, 0, 0);
  vorn_add_encoding_type_rle(&enc, lens.data(), indexed ? cla.data() : nullptr, wide ? 16 : 8, nruns, nullptr);
  std::vector<uint64_t> out((rows + 63) / 64);
  vorn_cv res = {}, src = {};
  vorn_build_vector(&res, nullptr, nullptr, nullptr, nullptr, nullptr, out.data(), rows, 0, nullptr, 0);
  vorn_build_vector(&src, nullptr, nullptr, nullptr, &enc, nullptr, nullptr, rows, 0, nullptr, 0);
  vorn_aux aux = {};
  aux.vorn_aux_filter_bv = selected.data();
  for (auto _ : state)
    table[which.index].unary(&res, &src, &aux);
  state.counters["Grows/s"] =
      benchmark::Counter(static_cast<double>(rows) / 1e9, benchmark::Counter::kIsIterationInvariantRate);
}

void small_call(benchmark::State &state, uint32_t rows) {
  kernel_call call(vorn_dispatch_table, {VORN_ENC_DICT << 5 | 7U << 7}, rows, 0.5);
  vorn_ctx ctx = environment().context();
  vorn_enc_ctx constant = call.enc;
  constant.vorn_enc_ctx_flags |= VORN_CONST;
  call.lo.vorn_cv_encoding_context = &constant;
  for (auto _ : state)
    benchmark::DoNotOptimize(vorn_eq(&ctx, &call.res, &call.src, &call.lo, nullptr));
}

void add_all(const std::vector<implementation> &found) {
  using benchmark::RegisterBenchmark;
  const auto name = [](const std::string &group, const slot_axes &slot, const std::string &implementation) {
    return group + "/" + slot.name() + "/" + implementation;
  };
  for (const slot_axes &slot : scan_slots())
    for (const implementation &which : found) {
      RegisterBenchmark(name("in_cache", slot, which.name).c_str(), scan, which.table, slot, cached_rows, 0.5)
          ->UseManualTime();
      const uint64_t rows = stream_bytes * 8 / slot.width();
      RegisterBenchmark(name("out_of_cache", slot, which.name).c_str(), scan, which.table, slot, rows, 0.5)
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
      if (slot.opcode() != VORN_OPC_LE || slot.flag())
        continue;
      for (const unsigned per_cent : {1U, 50U, 99U})
        RegisterBenchmark(name("selectivity_" + std::to_string(per_cent), slot, which.name).c_str(), scan, which.table,
                          slot, cached_rows, per_cent / 100.0)
            ->UseManualTime();
      for (const unsigned per_cent : {1U, 10U, 50U})
        RegisterBenchmark(name("twin_" + std::to_string(per_cent), slot, which.name).c_str(), twin, which.table, slot,
                          per_cent);
    }
  for (const unsigned width : {7U, 8U, 15U, 16U})
    for (const implementation &which : found)
      for (const uint32_t run_length : {4U, 20U, 100U}) {
        const slot_axes slot = {(width - 1) << 7 | VORN_ENC_RLE << 5 | VORN_OPC_BURST};
        RegisterBenchmark(name("runs_of_" + std::to_string(run_length), slot, which.name).c_str(), burst, which.table,
                          slot, run_length);
      }
  RegisterBenchmark("call/vorn_eq/64_rows", small_call, 64U);
  RegisterBenchmark("call/vorn_eq/1000_rows", small_call, 1000U);
}

} // namespace

int main(int argc, char **argv) {
  const std::vector<implementation> found = implementations();
  add_all(found);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 2;
  std::vector<std::string> names;
  names.reserve(found.size());
  for (const implementation &which : found)
    names.push_back(which.name);
  vorn_bench::reporter reporter(names);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
