// Benchmarks of predicates and sets.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>

#include "bench/kernels.hpp"
#include "bench/measure.hpp"

namespace vorn_bench {

namespace {

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

// The predicates and sets of all encodings.
std::vector<slot_axes> scan_slots() {
  std::vector<slot_axes> slots;
  for (uint32_t index = 0; index < VORN_DISPATCH_SLOTS; ++index) {
    const slot_axes slot = {index};
    if (vorn_dispatch_table[index].binary != nullptr &&
        (slot.opcode() <= VORN_OPC_GE_LE || slot.opcode() == VORN_OPC_SET))
      slots.push_back(slot);
  }
  return slots;
}

// Legal length codes of 4 bits: 0 to 7.
const word_vector &random_nibbles() {
  static const word_vector words = [] {
    word_vector filled = random_words();
    for (uint64_t &word : filled)
      word &= 0x7777777777777777U;
    return filled;
  }();
  return words;
}

// One call of a kernel with its operands.
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

  // One bound at the selectivity, or two bounds at a quarter and at three quarters of the numbers.
  void build_constants(slot_axes which, double selectivity) {
    const double low = which.range() ? 0.25 : selectivity;
    const double high = 0.75;
    if (which.encoding() == VORN_ENC_DICT) {
      // Codes of 64 bits are compared with a 32-bit constant.  Nearly all of them are greater.
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
  word_vector out;
  word_vector members;
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
  const unsigned reads = bytes < (1U << 20) ? 16 : 1; // a single read of few bytes takes no longer than the clock
  const auto read = [&] {
    for (unsigned i = 0; i < reads; ++i)
      plain_read(random_words().data(), bytes / 8);
  };
  const double read_time = measure_in_turn(
      state, static_cast<double>(rows), [&] { call.run(); }, read);
  state.counters["of_read"] = read_time / reads;
  state.counters["width"] = which.width();
}

void twin(benchmark::State &state, const vorn_kernel *table, slot_axes which, unsigned per_cent) {
  kernel_call call(table, which, cached_rows, 0.5);
  word_vector filter = random_bits(cached_rows, per_cent);
  call.aux.vorn_aux_filter_bv = filter.data();
  call.aux.vorn_aux_flags = VORN_AUX_FORCE_SELECTIVE;
  const rate_meter meter(state);
  for (auto _ : state)
    call.run();
  meter.report(static_cast<double>(cached_rows));
}

void small_call(benchmark::State &state, const vorn_global_ctx_t *record, uint32_t rows) {
  const vorn_global_ctx_t before = vorn_global_ctx;
  vorn_global_ctx = *record;
  kernel_call call(vorn_dispatch_table, {VORN_ENC_DICT << 5 | 7U << 7}, rows, 0.5);
  vorn_ctx ctx = environment().context();
  vorn_enc_ctx constant = call.enc;
  constant.vorn_enc_ctx_flags |= VORN_CONST;
  call.lo.vorn_cv_encoding_context = &constant;
  const rate_meter meter(state);
  for (auto _ : state)
    benchmark::DoNotOptimize(vorn_eq(&ctx, &call.res, &call.src, &call.lo, nullptr));
  meter.report_call();
  vorn_global_ctx = before;
}

} // namespace

void add_scans(const std::vector<implementation> &found) {
  using benchmark::RegisterBenchmark;
  for (const slot_axes &slot : scan_slots())
    for (const implementation &which : found) {
      RegisterBenchmark(name_of("in_cache", slot.name(), which).c_str(), scan, which.table(), slot, cached_rows, 0.5)
          ->UseManualTime();
      const uint64_t rows = stream_bytes * 8 / slot.width();
      RegisterBenchmark(name_of("out_of_cache", slot.name(), which).c_str(), scan, which.table(), slot, rows, 0.5)
          ->UseManualTime()
          ->Unit(benchmark::kMillisecond);
      if (slot.opcode() != VORN_OPC_LE || slot.flag())
        continue;
      for (const unsigned per_cent : {1U, 50U, 99U})
        RegisterBenchmark(name_of("selectivity_" + std::to_string(per_cent), slot.name(), which).c_str(), scan,
                          which.table(), slot, cached_rows, per_cent / 100.0)
            ->UseManualTime();
      for (uint64_t count = 10'000; count <= 100'000'000 && count * slot.width() / 8 <= stream_bytes; count *= 10)
        RegisterBenchmark(name_of("rows_" + std::to_string(count), slot.name(), which).c_str(), scan, which.table(),
                          slot, count, 0.5)
            ->UseManualTime();
      for (const unsigned per_cent : {1U, 10U, 50U})
        RegisterBenchmark(name_of("twin_" + std::to_string(per_cent), slot.name(), which).c_str(), twin, which.table(),
                          slot, per_cent);
    }
  for (const implementation &which : found)
    for (const uint32_t rows : {64U, 1000U})
      RegisterBenchmark(name_of("call_of_" + std::to_string(rows) + "_rows", "vorn_eq", which).c_str(), small_call,
                        which.record, rows);
}

} // namespace vorn_bench
