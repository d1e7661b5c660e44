// Benchmarks of the filled slots of the dispatch table, for every implementation that this processor can run.
//
//   in_cache      65,536 rows, again and again
//   out_of_cache  a stream of 256 MB
//   selectivity   65,536 rows of which 1, 50 or 99 percent match
//   twin          65,536 rows of which a filter keeps 1, 10 or 50 percent
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

// Random bytes, which are uniformly distributed codes at every width.
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
  bool nulls() const { return index >> 12; }
  unsigned width() const { return static_cast<unsigned>(std::stoul(vorn_datawidth_name(index >> 7 & 31))); }
  bool range() const { return opcode() >= VORN_OPC_GT_LT; }
  const char *name() const { return vorn_dispatch_func_names[index]; }
};

std::vector<slot_axes> dict_predicates() {
  std::vector<slot_axes> slots;
  for (uint32_t index = 0; index < VORN_DISPATCH_SLOTS; ++index)
    if (vorn_dispatch_table[index].binary != nullptr && (index & 31) <= VORN_OPC_GE_LE)
      slots.push_back({index});
  return slots;
}

// One call of a kernel with everything that it needs.
struct kernel_call {
  kernel_call(const vorn_kernel *table, slot_axes which, uint64_t rows, double selectivity)
      : kernel(table[which.index]), range(which.range()), nrows(rows), out((rows + 63) / 64) {
    const unsigned width = which.width();
    // A width of 64 compares with a 32-bit constant: nearly all of its codes lie above.
    const uint64_t top = width >= 32 ? UINT32_MAX : (uint64_t{1} << width) - 1;
    bounds[0] = range ? static_cast<uint32_t>(top / 4) : static_cast<uint32_t>(static_cast<double>(top) * selectivity);
    bounds[1] = static_cast<uint32_t>(top / 4 + top / 2);
    vorn_build_encoding_type_dict(&enc, width, nullptr, nullptr, nullptr, 0, 0, which.nulls() ? VORN_NULLS : 0);
    const auto count = static_cast<uint32_t>(rows);
    vorn_build_vector(&res, nullptr, nullptr, nullptr, nullptr, nullptr, out.data(), count, 0, nullptr, 0);
    auto *stream = const_cast<uint64_t *>(random_words().data());
    vorn_build_vector(&src, stream, nullptr, nullptr, &enc, nullptr, nullptr, count, 0, nullptr, 0);
    lo.vorn_cv_vals = &bounds[0];
    hi.vorn_cv_vals = &bounds[1];
  }

  void run() {
    if (range)
      kernel.ternary(&res, &src, &lo, &hi, &aux);
    else
      kernel.binary(&res, &src, &lo, &aux);
  }

  vorn_kernel kernel;
  bool range;
  uint64_t nrows;
  std::vector<uint64_t> out;
  uint32_t bounds[2] = {};
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

void small_call(benchmark::State &state, uint32_t rows) {
  kernel_call call(vorn_dispatch_table, {0x20 | 7U << 7}, rows, 0.5);
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
  for (const slot_axes &slot : dict_predicates())
    for (const implementation &which : found) {
      RegisterBenchmark(name("in_cache", slot, which.name).c_str(), scan, which.table, slot, cached_rows, 0.5)
          ->UseManualTime();
      const uint64_t rows = stream_bytes * 8 / slot.width();
      RegisterBenchmark(name("out_of_cache", slot, which.name).c_str(), scan, which.table, slot, rows, 0.5)
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
      if (slot.opcode() != VORN_OPC_LE || slot.nulls())
        continue;
      for (const unsigned per_cent : {1U, 50U, 99U})
        RegisterBenchmark(name("selectivity_" + std::to_string(per_cent), slot, which.name).c_str(), scan, which.table,
                          slot, cached_rows, per_cent / 100.0)
            ->UseManualTime();
      for (const unsigned per_cent : {1U, 10U, 50U})
        RegisterBenchmark(name("twin_" + std::to_string(per_cent), slot, which.name).c_str(), twin, which.table, slot,
                          per_cent);
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
