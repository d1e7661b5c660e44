// Benchmarks of the decoders.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

#include "bench/kernels.hpp"
#include "bench/measure.hpp"

namespace vorn_bench {

namespace {

// Runs of about the same length.  Half of them are selected.  The rate counts rows.
void burst(benchmark::State &state, const vorn_kernel *table, slot_axes which, uint32_t run_length) {
  const bool wide = which.width() > 8;
  const bool indexed = which.width() % 8 == 0;
  const auto nruns = static_cast<uint32_t>(cached_rows / run_length);
  std::mt19937_64 random(9);
  std::vector<uint8_t> lens(nruns * 2), cla(4 * (nruns + 1));
  word_vector selected((nruns + 63) / 64);
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
  word_vector out((rows + 63) / 64);
  vorn_cv res = {}, src = {};
  vorn_build_vector(&res, nullptr, nullptr, nullptr, nullptr, nullptr, out.data(), rows, 0, nullptr, 0);
  vorn_build_vector(&src, nullptr, nullptr, nullptr, &enc, nullptr, nullptr, rows, 0, nullptr, 0);
  vorn_aux aux = {};
  aux.vorn_aux_filter_bv = selected.data();
  const rate_meter meter(state);
  for (auto _ : state)
    table[which.index].unary(&res, &src, &aux);
  meter.report(static_cast<double>(rows));
}

void report_rows(benchmark::State &state, const rate_meter &meter, uint64_t rows, unsigned width) {
  meter.report(static_cast<double>(rows));
  state.counters["width"] = width;
}

// A dictionary of up to 4,096 values of 12 bytes, in both layouts.
struct dictionary {
  static constexpr uint32_t value_length = 12;

  explicit dictionary(unsigned width) : size(width >= 12 ? 4096 : 1U << width), symbols(size * value_length) {
    for (uint32_t i = 0; i <= size; ++i)
      cla.push_back(__builtin_bswap32(i * value_length));
  }

  vorn_enc_ctx encoding(unsigned width, uint32_t layout) const {
    vorn_enc_ctx enc;
    vorn_build_encoding_type_dict(&enc, width, symbols.data(), &one_length, cla.data(), size, layout, 0);
    return enc;
  }

  uint32_t size;
  std::vector<uint8_t> symbols;
  std::vector<uint32_t> cla;
  uint16_t one_length = __builtin_bswap16(value_length);
};

// The arrays that a decode writes.
struct symbol_arrays {
  explicit symbol_arrays(uint64_t n) : vals(n), lens(n), flgs(n) {
    vorn_build_vector(&res, vals.data(), lens.data(), flgs.data(), nullptr, nullptr, nullptr, static_cast<uint32_t>(n),
                      0, nullptr, 0);
  }

  word_vector vals;
  std::vector<uint16_t> lens;
  std::vector<uint16_t> flgs;
  vorn_cv res = {};
};

std::vector<uint32_t> rows_of(const word_vector &bits) {
  std::vector<uint32_t> rows;
  for (uint32_t i = 0; i < bits.size() * 64; ++i)
    if (bits[i / 64] >> i % 64 & 1)
      rows.push_back(i);
  return rows;
}

// A list of about half of the rows.  The rate counts decoded rows.
void decode(benchmark::State &state, const vorn_kernel *table, slot_axes which, uint32_t layout) {
  const dictionary symbols(which.width());
  std::vector<uint8_t> stream(cached_rows * which.width() / 8 + 8);
  std::mt19937 random(5);
  for (uint64_t row = 0; row < cached_rows; ++row)
    for (uint32_t code = static_cast<uint32_t>(random() % symbols.size), bit = which.width(); code != 0; code /= 2) {
      const uint64_t at = row * which.width() + --bit;
      stream[at / 8] = static_cast<uint8_t>(stream[at / 8] | (code & 1) << (7 - at % 8));
    }
  std::vector<uint32_t> rows = rows_of(random_bits(cached_rows, 50));
  symbol_arrays out(rows.size());
  vorn_enc_ctx enc = symbols.encoding(which.width(), layout);
  vorn_cv src = {};
  vorn_build_vector(&src, stream.data(), nullptr, nullptr, &enc, nullptr, nullptr, cached_rows, 0, nullptr, 0);
  vorn_aux aux = {};
  aux.vorn_aux_ones_vec = rows.data();
  aux.vorn_aux_ones_vec_size = static_cast<uint32_t>(rows.size());
  const rate_meter meter(state);
  for (auto _ : state)
    table[which.index].unary(&out.res, &src, &aux);
  report_rows(state, meter, rows.size(), which.width());
}

void decode_symbol(benchmark::State &state, const vorn_kernel *table, slot_axes which, uint32_t layout) {
  const dictionary symbols(which.width());
  std::vector<uint8_t> codes(cached_rows * 4);
  std::mt19937 random(5);
  for (uint64_t row = 0; row < cached_rows; ++row) {
    const auto code = static_cast<uint32_t>(random() % symbols.size);
    std::memcpy(&codes[row * which.width() / 8], &code, which.width() / 8);
  }
  symbol_arrays out(cached_rows);
  vorn_enc_ctx enc = symbols.encoding(which.width(), layout);
  vorn_cv src = {};
  vorn_build_vector(&src, codes.data(), nullptr, nullptr, &enc, nullptr, nullptr, cached_rows, 0, nullptr, 0);
  vorn_aux aux = {};
  const rate_meter meter(state);
  for (auto _ : state)
    table[which.index].unary(&out.res, &src, &aux);
  report_rows(state, meter, cached_rows, which.width());
}

// per_cent is the share of rows of a filter or of a list, or 0 for a range.  run_length is 0 for one code per row.  The
// rate counts source rows.
void unpack(benchmark::State &state, const vorn_kernel *table, slot_axes which, uint8_t flags, unsigned per_cent,
            bool listed, uint32_t run_length) {
  vorn_enc_ctx enc;
  vorn_build_encoding_type_dict(&enc, which.width(), nullptr, nullptr, nullptr, 0, 0, 0);
  const std::vector<uint8_t> lens(run_length == 0 ? 0 : cached_rows / run_length + 1, static_cast<uint8_t>(run_length));
  if (run_length != 0)
    vorn_add_encoding_type_rle(&enc, lens.data(), nullptr, 8, static_cast<uint32_t>(lens.size()), nullptr);
  std::vector<uint32_t> out(cached_rows);
  word_vector filter = random_bits(cached_rows, per_cent);
  vorn_cv res = {}, src = {};
  vorn_build_vector(&res, out.data(), nullptr, nullptr, nullptr, nullptr, nullptr, cached_rows, 0, nullptr, 0);
  vorn_build_vector(&src, const_cast<uint64_t *>(random_words().data()), nullptr, nullptr, &enc, nullptr, nullptr,
                    cached_rows, 0, nullptr, 0);
  vorn_aux aux = {};
  aux.vorn_aux_flags = flags;
  std::vector<uint32_t> rows = rows_of(filter);
  aux.vorn_aux_filter_bv = per_cent == 0 || listed ? nullptr : filter.data();
  aux.vorn_aux_ones_vec = listed ? rows.data() : nullptr;
  aux.vorn_aux_ones_vec_size = static_cast<uint32_t>(rows.size());
  const rate_meter meter(state);
  for (auto _ : state) {
    aux.vorn_aux_start_slot = 0;
    table[which.index].unary(&res, &src, &aux);
  }
  report_rows(state, meter, cached_rows, which.width());
}

// Values of 8 bytes with a prefix of 4 bytes.
void prefix_decode(benchmark::State &state, const vorn_global_ctx_t *record, bool described) {
  constexpr uint32_t ngroups = cached_rows / 16;
  constexpr uint32_t record_size = 1 + 4 + 16 * 4;
  std::vector<uint8_t> records(ngroups * record_size);
  std::vector<uint32_t> offsets;
  for (uint32_t group = 0; group < ngroups; ++group) {
    records[group * record_size] = 4;
    offsets.push_back(__builtin_bswap32(group * record_size));
  }
  word_vector out(cached_rows);
  word_vector descriptors(2 * cached_rows);
  vorn_enc_ctx enc = {};
  enc.vorn_enc_ctx_prefix_group = 16;
  enc.vorn_enc_ctx_prefix_vlen = 8;
  enc.vorn_enc_ctx_prefix_nvals = cached_rows;
  vorn_cv res = {}, src = {};
  res.vorn_cv_vals = out.data();
  vorn_build_vector(&src, records.data(), offsets.data(), nullptr, &enc, nullptr, nullptr, ngroups, 0, nullptr, 0);
  vorn_aux aux = {};
  aux.vorn_aux_prefix_out = described ? descriptors.data() : nullptr;
  const rate_meter meter(state);
  for (auto _ : state)
    record->vorn_prefix_decode_dydi(&res, &src, &aux);
  meter.report(static_cast<double>(cached_rows));
}

void add_dictionary_decoder(const implementation &which, slot_axes slot) {
  using benchmark::RegisterBenchmark;
  if (slot.opcode() == VORN_OPC_DECODE_UNPACK) {
    const auto add = [&](const std::string &group, uint8_t flags, unsigned per_cent, bool listed) {
      for (const uint32_t length : {0U, 20U})
        RegisterBenchmark(name_of(length == 0 ? group : group + "_over_runs_of_20", slot.name(), which).c_str(), unpack,
                          which.table(), slot, flags, per_cent, listed, length);
    };
    add("range", 0, 0, false);
    add("range_ub4", VORN_AUX_UNPACK_UB4, 0, false);
    for (const unsigned per_cent : {1U, 10U, 50U})
      add("filter_" + std::to_string(per_cent), 0, per_cent, false);
    add("list_50", 0, 50, true);
    return;
  }
  const auto bench = slot.opcode() == VORN_OPC_DECODE ? decode : decode_symbol;
  RegisterBenchmark(name_of("one_length", slot.name(), which).c_str(), bench, which.table(), slot,
                    VORN_DICT_ONE_LENGTH);
  RegisterBenchmark(name_of("offsets", slot.name(), which).c_str(), bench, which.table(), slot, VORN_DICT_CLA);
}

} // namespace

void add_decoders(const std::vector<implementation> &found) {
  using benchmark::RegisterBenchmark;
  for (const unsigned width : {7U, 8U, 15U, 16U})
    for (const implementation &which : found)
      for (const uint32_t run_length : {4U, 20U, 100U}) {
        const slot_axes slot = {(width - 1) << 7 | VORN_ENC_RLE << 5 | VORN_OPC_BURST};
        RegisterBenchmark(name_of("runs_of_" + std::to_string(run_length), slot.name(), which).c_str(), burst,
                          which.table(), slot, run_length);
      }
  for (const implementation &which : found) {
    for (uint32_t index = 0; index < VORN_DISPATCH_SLOTS; ++index) {
      const slot_axes slot = {index};
      if (which.table()[index].unary != nullptr && slot.opcode() >= VORN_OPC_DECODE &&
          slot.opcode() <= VORN_OPC_DECODE_SYMBOL)
        add_dictionary_decoder(which, slot);
    }
    for (const bool described : {false, true})
      RegisterBenchmark(name_of(described ? "described" : "values", "vorn_prefix_decode", which).c_str(), prefix_decode,
                        which.record, described);
  }
}

} // namespace vorn_bench
