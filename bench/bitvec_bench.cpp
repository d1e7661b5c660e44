// Benchmarks of the bit vectors.
#include <benchmark/benchmark.h>

#include "bench/kernels.hpp"
#include "bench/measure.hpp"

namespace vorn_bench {

namespace {

// The measured slots of the two families of bit vectors.
struct byte_vectors {
  static constexpr const char *name = "lbiv";
  using context = vorn_lbiv_ictx;
  static constexpr auto and2 = &vorn_global_ctx_t::vorn_lbivand_dydi;
  static constexpr auto and3 = &vorn_global_ctx_t::vorn_lbivand3_dydi;
  static constexpr auto popcnt = &vorn_global_ctx_t::vorn_lbivpopcnt_dydi;
  static constexpr auto start = &vorn_global_ctx_t::vorn_lbiv_ictx_ini2_dydi;
  static constexpr auto iter = &vorn_global_ctx_t::vorn_lbiviter_dydi;
  static constexpr auto ones = &vorn_global_ctx_t::vorn_lbivones_dydi;
};

struct word_vectors {
  static constexpr const char *name = "lbiwv";
  using context = vorn_lbiwv_ictx;
  static constexpr auto and2 = &vorn_global_ctx_t::vorn_lbiwvand_dydi;
  static constexpr auto and3 = &vorn_global_ctx_t::vorn_lbiwvand3_dydi;
  static constexpr auto popcnt = &vorn_global_ctx_t::vorn_lbiwvpopcnt_dydi;
  static constexpr auto start = &vorn_global_ctx_t::vorn_lbiwv_ictx_ini2_dydi;
  static constexpr auto iter = &vorn_global_ctx_t::vorn_lbiwviter_dydi;
  static constexpr auto ones = &vorn_global_ctx_t::vorn_lbiwvones_dydi;
};

void report_bits(const rate_meter &meter) { meter.report(static_cast<double>(cached_rows), "Gbit/s"); }

template <class Family>
void combine(benchmark::State &state, const vorn_global_ctx_t *record, unsigned nsources, bool in_place, bool counted) {
  word_vector apart(cached_rows / 64), a(random_words().begin(), random_words().begin() + cached_rows / 64);
  const uint64_t *b = random_words().data() + cached_rows, *c = b + cached_rows;
  uint64_t *dst = in_place ? a.data() : apart.data();
  uint32_t popc = 0;
  const rate_meter meter(state);
  for (auto _ : state) {
    if (nsources == 2)
      (record->*Family::and2)(dst, counted ? &popc : nullptr, a.data(), b, cached_rows);
    else
      (record->*Family::and3)(dst, counted ? &popc : nullptr, a.data(), b, c, cached_rows);
    benchmark::DoNotOptimize(popc);
  }
  report_bits(meter);
}

template <class Family>
void count_ones(benchmark::State &state, const vorn_global_ctx_t *record) {
  uint32_t popc = 0;
  const rate_meter meter(state);
  for (auto _ : state) {
    (record->*Family::popcnt)(&popc, random_words().data(), cached_rows);
    benchmark::DoNotOptimize(popc);
  }
  report_bits(meter);
}

template <class Family>
void iterate(benchmark::State &state, const vorn_global_ctx_t *record, unsigned per_cent, bool in_batches) {
  const word_vector bv = random_bits(cached_rows, per_cent);
  std::vector<uint32_t> rows(cached_rows);
  typename Family::context iterator;
  const rate_meter meter(state);
  for (auto _ : state) {
    (record->*Family::start)(&iterator, bv.data(), cached_rows, 0, 0);
    if (in_batches)
      benchmark::DoNotOptimize((record->*Family::ones)(&iterator, rows.data(), cached_rows));
    else
      while ((record->*Family::iter)(&iterator) < cached_rows) {
      }
  }
  report_bits(meter);
}

template <class Family>
void add_family(const std::vector<implementation> &found) {
  const auto add = [](const std::string &group, const implementation &which, auto run, auto... arguments) {
    benchmark::RegisterBenchmark(name_of(group, Family::name, which).c_str(), run, which.record, arguments...);
  };
  for (const implementation &which : found) {
    for (const unsigned nsources : {2U, 3U})
      for (const bool in_place : {false, true})
        for (const bool counted : {false, true})
          add("combine_" + std::to_string(nsources) + (in_place ? "_in_place" : "") + (counted ? "_counted" : ""),
              which, combine<Family>, nsources, in_place, counted);
    add("popcnt", which, count_ones<Family>);
    for (const unsigned per_cent : {1U, 50U, 99U}) {
      add("ones_" + std::to_string(per_cent), which, iterate<Family>, per_cent, true);
      add("iter_" + std::to_string(per_cent), which, iterate<Family>, per_cent, false);
    }
  }
}

} // namespace

void add_bit_vectors(const std::vector<implementation> &found) {
  add_family<byte_vectors>(found);
  add_family<word_vectors>(found);
}

} // namespace vorn_bench
