// Benchmarks of translation, group keys, sums, arithmetic and conversion.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "bench/kernels.hpp"
#include "bench/measure.hpp"

namespace vorn_bench {

namespace {

constexpr uint64_t rows = cached_rows;

vorn_cv vector_of(const void *vals, vorn_enc_ctx &enc) {
  vorn_cv cv = {};
  vorn_build_vector(&cv, const_cast<void *>(vals), nullptr, nullptr, &enc, nullptr, nullptr, rows, 0, nullptr, 0);
  return cv;
}

// A plain read of the source.
void read(const void *vals, uint64_t bytes) {
  const auto *words = static_cast<const uint64_t *>(vals);
  uint64_t sum = 0;
  for (uint64_t i = 0; i < bytes / 8; ++i)
    sum += words[i];
  benchmark::DoNotOptimize(sum);
}

// Doubles or floats of moderate size, in native or canonical form.
template <class Float, class Bits>
std::vector<Float> numbers(bool native) {
  std::mt19937_64 random(3);
  std::vector<Float> values(rows);
  for (Float &value : values) {
    value = static_cast<Float>(static_cast<double>(random() % 20000) / 16 - 600);
    if (native)
      continue;
    Bits bits;
    std::memcpy(&bits, &value, sizeof bits);
    const Bits sign = Bits{1} << (8 * sizeof(Bits) - 1);
    bits = bits & sign ? static_cast<Bits>(~bits) : bits | sign;
    bits = sizeof(Bits) == 4 ? static_cast<Bits>(__builtin_bswap32(static_cast<uint32_t>(bits)))
                             : static_cast<Bits>(__builtin_bswap64(bits));
    std::memcpy(&value, &bits, sizeof bits);
  }
  return values;
}

const void *numbers_of(bool is_double, bool native) {
  static const auto native_doubles = numbers<double, uint64_t>(true), doubles = numbers<double, uint64_t>(false);
  static const auto native_floats = numbers<float, uint32_t>(true), floats = numbers<float, uint32_t>(false);
  return is_double ? static_cast<const void *>((native ? native_doubles : doubles).data())
                   : (native ? native_floats : floats).data();
}

vorn_enc_ctx number_encoding(bool is_double, bool native, uint32_t flags = 0) {
  vorn_enc_ctx enc = {};
  enc.vorn_enc_ctx_num_type = is_double ? VORN_NUM_DOUBLE : VORN_NUM_FLOAT;
  enc.vorn_enc_ctx_flags = flags | (native ? uint32_t{VORN_NATIVE} : 0U);
  enc.vorn_enc_ctx_width = is_double ? 64 : 32;
  return enc;
}

// With 0 groups there are no keys.  Rows come in runs of one group.
void sum(benchmark::State &state, implementation which, const void *vals, vorn_enc_ctx enc, uint32_t groups,
         uint32_t run) {
  vorn_cv src = vector_of(vals, enc);
  std::vector<uint32_t> keys(rows);
  for (uint64_t i = 0; i < rows; ++i)
    keys[i] = groups == 0 ? 0 : static_cast<uint32_t>(random_words()[i / run] % groups);
  std::vector<double> sums(std::max(groups, 1U));
  vorn_cv grp = vector_of(keys.data(), enc), res = vector_of(sums.data(), enc);
  measure_beside(
      state, rows, [&] { which.record->vorn_gby_sum_dydi(&res, &src, groups == 0 ? nullptr : &grp, nullptr); },
      [&] { read(vals, rows * enc.vorn_enc_ctx_width / 8); });
}

void convert(benchmark::State &state, implementation which, bool is_double) {
  vorn_enc_ctx enc = number_encoding(is_double, false);
  vorn_cv src = vector_of(numbers_of(is_double, false), enc);
  std::vector<double> out(rows);
  vorn_cv res = vector_of(out.data(), enc);
  vorn_aux aux = {};
  measure_beside(
      state, rows, [&] { which.record->vorn_convert_dydi(&res, &src, &aux); },
      [&] { read(src.vorn_cv_vals, rows * (is_double ? 8 : 4)); });
}

void arith(benchmark::State &state, implementation which, slot_axes slot) {
  const uint32_t code = slot.width_code();
  const bool is_double = code & 1, left_native = !(code & 4), right_native = !(code & 8);
  vorn_enc_ctx left_enc = number_encoding(is_double, left_native), right_enc = number_encoding(is_double, right_native);
  vorn_cv left = vector_of(numbers_of(is_double, left_native), left_enc);
  const vorn_cv right = vector_of(numbers_of(is_double, right_native), right_enc);
  std::vector<double> out(rows);
  vorn_cv res = vector_of(out.data(), left_enc);
  vorn_aux aux = {};
  measure_beside(
      state, rows, [&] { which.table()[slot.index].binary(&res, &left, &right, &aux); },
      [&] { read(left.vorn_cv_vals, rows * (is_double ? 8 : 4)); });
}

// Half of the keys have an entry.  Pages have 4,096 entries.
void translate(benchmark::State &state, implementation which, slot_axes slot, uint32_t entries, unsigned per_cent) {
  static const uint8_t bits_of[] = {1, 4, 8, 16, 32};
  const uint32_t width = bits_of[slot.width_code()], kind = slot.encoding();
  std::vector<uint32_t> keys(rows);
  word_vector table(uint64_t{entries} * width / 64 + 1, 0x5555555555555555U), codes(rows / 2);
  for (uint64_t i = 0; i < table.size(); ++i)
    if (random_words()[i] & 1)
      table[i] = UINT64_MAX;
  std::vector<const void *> pages;
  for (uint32_t page = 0; page < (entries + 4095) / 4096; ++page)
    pages.push_back(reinterpret_cast<const uint8_t *>(table.data()) + uint64_t{page} * 4096 * width / 8);
  vorn_enc_ctx enc = {}, tbl_enc = {};
  vorn_build_encoding_type_fixed(&enc, 32, VORN_HASH_VALUES);
  vorn_add_encoding_type_xlate(&tbl_enc, 1, 1, 0, 12, 4095);
  const bool group_key = kind == VORN_ENC_RLE;
  for (uint64_t i = 0; i < rows; ++i) {
    const auto key = static_cast<uint32_t>(random_words()[i] % entries);
    keys[i] = group_key ? key : __builtin_bswap32(key);
  }
  word_vector out(rows / 64), filter = random_bits(rows, per_cent);
  std::vector<uint32_t> range(rows);
  vorn_cv src = vector_of(keys.data(), enc), tbl = vector_of(nullptr, tbl_enc), res = vector_of(range.data(), enc);
  tbl.vorn_cv_bv = kind == VORN_ENC_DYNP ? reinterpret_cast<uint64_t *>(pages.data()) : table.data();
  res.vorn_cv_bv = out.data();
  vorn_aux aux = {};
  aux.vorn_aux_filter_bv = per_cent == 100 ? nullptr : filter.data();
  aux.vorn_aux_xlate_enc = &tbl_enc;
  aux.vorn_aux_xlate_tbl = group_key ? static_cast<void *>(table.data()) : codes.data();
  aux.vorn_aux_xlate_n = 3;
  measure_beside(
      state, static_cast<double>(rows) * per_cent / 100,
      [&] { which.table()[slot.index].binary(&res, &src, &tbl, &aux); }, [&] { read(keys.data(), rows * 4); });
}

void group_key(benchmark::State &state, implementation which, uint32_t columns, uint8_t width, bool multiplied) {
  std::vector<uint32_t> keys(rows), scratch(4096);
  vorn_enc_ctx enc, out_enc = {};
  vorn_build_encoding_type_dict(&enc, width, nullptr, nullptr, nullptr, 200, 0, 0);
  std::vector<vorn_cv> cols;
  for (uint32_t column = 0; column < columns; ++column)
    cols.push_back(vector_of(random_words().data() + column * rows, enc));
  vorn_cv res = vector_of(keys.data(), out_enc), tmp = vector_of(scratch.data(), out_enc);
  tmp.vorn_cv_nrows = static_cast<uint32_t>(scratch.size());
  const vorn_ctx ctx = environment().context();
  vorn_aux aux = {};
  aux.vorn_aux_ctx = &ctx;
  aux.vorn_aux_flags = multiplied ? VORN_AUX_MULTIPLY : 0;
  uint32_t space = 0;
  measure_beside(
      state, rows, [&] { which.record->vorn_groupkey_dydi(&res, &space, cols.data(), columns, &tmp, &aux); },
      [&] { read(random_words().data(), rows * columns * width / 8); });
}

void point_in_polygon(benchmark::State &state, implementation which) {
  vorn_enc_ctx enc = {};
  vorn_cv ring = vector_of(numbers_of(true, true), enc), point = vector_of(numbers_of(true, true), enc), res = {};
  uint32_t crossed = 0;
  res.vorn_cv_vals = &crossed;
  measure_beside(
      state, rows, [&] { which.record->vorn_spatial_pip_dydi(&res, &ring, &ring, &point, &point, nullptr); },
      [&] { read(ring.vorn_cv_vals, rows * 8); });
}

} // namespace

void add_expressions(const std::vector<implementation> &found) {
  const auto add = [](const std::string &group, const std::string &subject, const implementation &which, auto run,
                      auto... arguments) {
    benchmark::RegisterBenchmark(name_of(group, subject, which).c_str(), run, which, arguments...)->UseManualTime();
  };
  for (const implementation &which : found) {
    for (const bool is_double : {false, true}) {
      const std::string type = is_double ? "double" : "float";
      for (const bool native : {false, true}) {
        const std::string form = type + (native ? "_native_" : "_canonical_");
        const vorn_enc_ctx enc = number_encoding(is_double, native);
        for (const uint32_t groups : {0U, 1U, 256U, 4096U, 1U << 20})
          add("sum", form + std::to_string(groups), which, sum, numbers_of(is_double, native), enc, groups, 1U);
        add("sum", form + "256_runs", which, sum, numbers_of(is_double, native), enc, 256U, 1000U);
      }
      add("convert", type, which, convert, is_double);
    }
    for (const uint32_t width : {8U, 16U, 32U, 64U})
      for (const uint32_t groups : {0U, 1U, 256U}) {
        vorn_enc_ctx enc = {};
        enc.vorn_enc_ctx_num_type = VORN_NUM_DSB;
        enc.vorn_enc_ctx_width = width;
        add("sum", "dsb" + std::to_string(width) + "_" + std::to_string(groups), which, sum,
            static_cast<const void *>(random_words().data()), enc, groups, 1U);
      }
    for (uint32_t index = 0; index < VORN_DISPATCH_SLOTS; ++index) {
      const slot_axes slot = {index};
      if (vorn_dispatch_table[index].binary == nullptr)
        continue;
      if (slot.opcode() >= VORN_OPC_ADD)
        add("arith", slot.name(), which, arith, slot);
      if (slot.opcode() != VORN_OPC_XLATE)
        continue;
      for (const auto &[size, entries] : {std::pair{"4K", 1U << 12}, {"256K", 1U << 18}, {"4M", 1U << 22}})
        add("translate", std::string(slot.name()) + "_" + size, which, translate, slot, entries, 100U);
      if (slot.encoding() != VORN_ENC_RLE)
        add("translate", std::string(slot.name()) + "_selective_10", which, translate, slot, 1U << 12, 10U);
    }
    for (const auto &[columns, width] : {std::pair{1U, 8}, {2U, 8}, {4U, 8}, {2U, 5}, {2U, 12}}) {
      const std::string shape = std::to_string(columns) + "x" + std::to_string(width);
      add("group_key", "shifted_" + shape, which, group_key, columns, static_cast<uint8_t>(width), false);
      if (columns != 4)
        add("group_key", "multiplied_" + shape, which, group_key, columns, static_cast<uint8_t>(width), true);
    }
    add("point_in_polygon", "65536_vertices", which, point_in_polygon);
  }
}

} // namespace vorn_bench
