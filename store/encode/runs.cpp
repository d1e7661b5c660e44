#include "store/encode/runs.hpp"

#include <algorithm>
#include <vector>

#include "store/encode/packing.hpp"
#include <vorn/vorn.h>

namespace store {

namespace {

// Calls with the code and the length of each run, none longer than `longest`.
template <class Take>
void for_runs(std::span<const uint32_t> codes, uint32_t longest, Take take) {
  for (size_t first = 0; first < codes.size();) {
    size_t end = first + 1;
    while (end < codes.size() && codes[end] == codes[first] && end - first < longest)
      ++end;
    take(codes[first], static_cast<uint32_t>(end - first));
    first = end;
  }
}

template <class Take>
void for_runs(std::span<const code_run> runs, uint32_t longest, Take take) {
  for (const code_run &run : runs)
    for (uint64_t left = run.rows; left != 0;) {
      const uint32_t length = static_cast<uint32_t>(std::min<uint64_t>(left, longest));
      take(run.code, length);
      left -= length;
    }
}

constexpr uint32_t longest_run(uint8_t run_length_bits) { return (1U << run_length_bits) - 1; }

template <class Row>
uint64_t count_runs(std::span<const Row> rows, uint32_t longest) {
  uint64_t runs = 0;
  for_runs(rows, longest, [&](uint32_t, uint32_t) { ++runs; });
  return runs;
}

} // namespace

template <class Row>
bool has_long_runs(std::span<const Row> rows) {
  // A run costs its code, length and offset, which a few rows of plain codes outweigh; a longer run also saves time.
  constexpr uint64_t rows_per_run = 8;
  uint64_t count = 0;
  for (const Row &row : rows)
    count += as_run(row).rows;
  return count != 0 && count_runs(rows, batch_rows) * rows_per_run <= count;
}

template <class Row>
uint8_t best_run_length_bits(std::span<const Row> rows, uint32_t width) {
  constexpr uint64_t offset_bits = 32;
  const auto bits = [&](uint8_t run_length_bits) {
    return count_runs(rows, longest_run(run_length_bits)) * (width + run_length_bits + offset_bits);
  };
  return bits(8) < bits(16) ? 8 : 16;
}

vorn_host::aligned_vector<uint32_t> run_ends(const uint8_t *lengths, uint32_t runs, uint8_t run_length_bits) {
  vorn_host::aligned_vector<uint32_t> cla(runs + 1);
  const auto build = run_length_bits == 8 ? vorn_build_cla_1_ub1 : vorn_build_cla_1_ub2;
  build(cla.data(), runs + 1, lengths, runs);
  return cla;
}

template <class Row>
batch run_batch(std::span<const Row> rows, uint32_t width, uint8_t run_length_bits) {
  batch out;
  vorn_host::aligned_vector<uint8_t> &lens = out.lens.made();
  std::vector<uint32_t> codes_of_runs;
  for_runs(rows, longest_run(run_length_bits), [&](uint32_t code, uint32_t length) {
    codes_of_runs.push_back(code);
    if (run_length_bits == 16)
      lens.push_back(static_cast<uint8_t>(length >> 8));
    lens.push_back(static_cast<uint8_t>(length));
  });
  out.runs = static_cast<uint32_t>(codes_of_runs.size());
  out.cla = run_ends(lens.data(), out.runs, run_length_bits);
  lens.resize(lens.size() + vorn_host::cache_line);
  out.stream = packed(codes_of_runs, width);
  out.stream_bytes = static_cast<uint32_t>(out.stream.size() - vorn_host::cache_line);
  return out;
}

template bool has_long_runs(std::span<const uint32_t>);
template bool has_long_runs(std::span<const code_run>);
template uint8_t best_run_length_bits(std::span<const uint32_t>, uint32_t);
template uint8_t best_run_length_bits(std::span<const code_run>, uint32_t);
template batch run_batch(std::span<const uint32_t>, uint32_t, uint8_t);
template batch run_batch(std::span<const code_run>, uint32_t, uint8_t);

} // namespace store
