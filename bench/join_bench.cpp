// Benchmarks of hashing, hash tables, partitions, transposition, gather and the bloom test.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>

#include "bench/kernels.hpp"
#include "bench/measure.hpp"
#include "host/hash.h"

namespace vorn_bench {

namespace {

vorn_cv vector_of(const void *vals, vorn_enc_ctx &enc, uint64_t rows, const void *lens = nullptr) {
  vorn_cv cv = {};
  vorn_build_vector(&cv, const_cast<void *>(vals), const_cast<void *>(lens), nullptr, &enc, nullptr, nullptr,
                    static_cast<uint32_t>(rows), 0, nullptr, 0);
  return cv;
}

template <class Build>
vorn_enc_ctx encoding(Build build) {
  vorn_enc_ctx enc;
  build(&enc);
  return enc;
}

vorn_enc_ctx fixed(uint32_t width) {
  vorn_enc_ctx enc;
  vorn_build_encoding_type_fixed(&enc, width, 0);
  return enc;
}

// The context of a vector in the given row form.
vorn_enc_ctx form(uint32_t flag) {
  vorn_enc_ctx enc = {};
  enc.vorn_enc_ctx_flags = flag;
  return enc;
}

const uint64_t *hash_values() { return random_words().data(); } // the later ones are in no table
constexpr uint64_t most_hash_values = stream_bytes / 8;

// Reads bytes of memory one after the other.
template <class Address>
void touch(uint64_t count, Address address) {
  uint64_t sum = 0;
  for (uint64_t i = 0; i < count; ++i)
    sum += *address(i);
  benchmark::DoNotOptimize(sum);
}

struct layout {
  const char *name;
  uint32_t type;
  uint8_t tag_bits;
  uint32_t slots;
};
constexpr layout layouts[] = {{"k2v4", VORN_HT_K2V4, 16, 9},
                              {"k2v8", VORN_HT_K2V8, 16, 5},
                              {"k4v4", VORN_HT_K4V4, 32, 6},
                              {"k4v8", VORN_HT_K4V8, 32, 4}};

// A table of 2^bits buckets.  Its rows are the first hash values.  They fill half of the slots.
struct table {
  table(const layout &of, unsigned bits)
      : which(of), buckets(uint64_t{1} << bits), rows(std::min<uint64_t>(buckets * of.slots / 2, most_hash_values / 2)),
        memory(static_cast<uint8_t *>(std::aligned_alloc(4096, (buckets + spare()) * 64)), std::free) {
    std::memset(memory.get(), 0, (buckets + spare()) * 64);
    const auto hi_bit = static_cast<uint8_t>(of.tag_bits + bits - 1);
    vorn_build_hash_table(&ht, &first, nullptr, &free, &end, hi_bit, 0, hi_bit, of.type);
    first = memory.get();
    end = memory.get() + (buckets + spare()) * 64;
    empty();
  }

  uint64_t spare() const { return buckets / 2; }
  void empty() { free = memory.get() + buckets * 64; }
  const uint8_t *bucket(uint64_t hash) const { return memory.get() + ((hash >> which.tag_bits) & (buckets - 1)) * 64; }
  uint32_t build(const implementation &by, uint64_t from, uint64_t count) {
    vorn_enc_ctx keys = form(VORN_HASH_VALUES), ids = form(VORN_AUTORID);
    vorn_cv src = vector_of(hash_values() + from, keys, count), values = vector_of(nullptr, ids, 0);
    vorn_aux aux = {};
    return by.record->vorn_ht_build_dydi(&ht, &src, &values, -1, nullptr, &aux);
  }

  const layout &which;
  uint64_t buckets, rows;
  std::unique_ptr<uint8_t, decltype(&std::free)> memory;
  void *first, *free = nullptr, *end;
  vorn_hash_table ht = {};
};

// The tables are large, so only one exists at a time.
table &filled_table(const layout &of, unsigned bits) {
  static std::unique_ptr<table> current;
  if (!current || &current->which != &of || current->buckets != uint64_t{1} << bits) {
    current.reset();
    current = std::make_unique<table>(of, bits);
    if (current->build({"generic", &vorn_global_ctx}, 0, current->rows) != VORN_RESULT_DONE)
      std::abort();
  }
  return *current;
}

void build(benchmark::State &state, implementation which, const layout &of, unsigned bits) {
  table built(of, bits);
  const uint64_t rows = std::min<uint64_t>(built.rows, 4U << 20);
  const auto clear = [&] {
    for (uint64_t i = 0; i < rows; ++i)
      std::memset(const_cast<uint8_t *>(built.bucket(hash_values()[i])), 0, 64);
    built.empty();
  };
  measure_beside(
      state, static_cast<double>(rows), [&] { benchmark::DoNotOptimize(built.build(which, 0, rows)); },
      [&] { touch(rows, [&](uint64_t i) { return built.bucket(hash_values()[i]); }); }, clear);
}

// Half of the rows have a match.
void probe(benchmark::State &state, implementation which, const layout &of, unsigned bits) {
  table &probed = filled_table(of, bits);
  const uint64_t rows = std::min<uint64_t>(std::max<uint64_t>(probed.rows, cached_rows), 4U << 20);
  std::mt19937_64 random(5);
  word_vector hashes(rows);
  for (uint64_t &hash : hashes)
    hash = random() % 2 == 0 ? hash_values()[random() % probed.rows] : random();
  word_vector pairs(4 * rows);
  vorn_enc_ctx keys = form(VORN_HASH_VALUES), ids = form(VORN_AUTORID), out = form(VORN_RIDVALUE);
  vorn_cv src = vector_of(hashes.data(), keys, rows), left = vector_of(nullptr, ids, 0);
  vorn_cv res = vector_of(pairs.data(), out, 0);
  measure_beside(
      state, static_cast<double>(rows),
      [&] {
        vorn_aux aux = {};
        res.vorn_cv_nrows = static_cast<uint32_t>(2 * rows);
        benchmark::DoNotOptimize(which.record->vorn_ht_probe_dydi(&res, &src, &left, &probed.ht, nullptr, &aux));
      },
      [&] { touch(rows, [&](uint64_t i) { return probed.bucket(hashes[i]); }); });
}

void partition(benchmark::State &state, implementation which, uint32_t type, unsigned bits) {
  constexpr uint64_t rows = 1U << 20;
  const uint64_t parts = uint64_t{1} << bits;
  const uint64_t room = rows * 32 / parts + 65 * 64; // so areas do not begin at the same set of the cache
  std::vector<uint8_t> areas(room * parts);
  std::vector<void *> cur(parts), end(parts);
  vorn_partition_buffer pb;
  vorn_build_partition_buffer(&pb, nullptr, cur.data(), end.data(), static_cast<uint8_t>(39 + bits), 40, type);
  pb.vorn_pb_fixed_width = 8;
  vorn_enc_ctx keys = form(VORN_HASH_VALUES), ids = form(VORN_AUTORID), values = fixed(64);
  vorn_cv src = vector_of(hash_values(), keys, rows);
  vorn_cv payload = type == VORN_PB_RID ? vector_of(nullptr, ids, 0) : vector_of(hash_values(), values, rows);
  const auto record = static_cast<uint64_t>(type == VORN_PB_LV ? 18 : 16);
  std::vector<uint8_t> copy(rows * record);
  measure_beside(
      state, static_cast<double>(rows),
      [&] {
        for (uint64_t part = 0; part < parts; ++part) {
          cur[part] = areas.data() + room * part;
          end[part] = areas.data() + room * (part + 1);
        }
        vorn_aux aux = {};
        benchmark::DoNotOptimize(which.record->vorn_partition_dydi(&pb, &src, &payload, nullptr, &aux));
      },
      [&] {
        std::memcpy(copy.data(), areas.data(), copy.size());
        benchmark::ClobberMemory();
      });
}

struct named_flag {
  const char *name;
  uint32_t flag;
};
constexpr named_flag results[] = {{"fixed", VORN_FIXED},   {"lv_sep", VORN_LV_SEP}, {"lv", VORN_LV},
                                  {"lp_sep", VORN_LP_SEP}, {"lp", VORN_LP},         {"dlp", VORN_DLP}};
constexpr named_flag kinds[] = {{"lp", VORN_TT_LP}, {"dlp", VORN_TT_DLP}, {"cla", VORN_TT_CLA}};
constexpr named_flag sources[] = {{"lp_sep", VORN_LP_SEP}, {"lp", VORN_LP}, {"dlp", VORN_DLP}};

// A million values of 1 to 15 bytes in one partition, with all three kinds of descriptions.
struct value_store {
  static constexpr uint64_t count = 1U << 20;
  static constexpr uint8_t shift = 32;

  value_store() : bytes(count * 16), entries(count * 2), words(count), offsets(count + 1) {
    uint32_t end = 0;
    for (uint64_t i = 0; i < count; ++i) {
      const auto length = static_cast<uint32_t>(1 + hash_values()[i] % 15);
      entries[2 * i] = length;
      entries[2 * i + 1] = reinterpret_cast<uintptr_t>(bytes.data() + end);
      words[i] = uint64_t{end} << 16 | length;
      end += length;
      offsets[i + 1] = end;
    }
    vorn_build_transpose_table(&tbl, 1, 64, 0, 63, 64, &entries_at, nullptr, 0, &words_at, 0, 0, 0, &offsets_at,
                               nullptr, 0, &bytes_at, nullptr, nullptr, 0);
  }

  std::vector<uint8_t> bytes;
  word_vector entries, words;
  std::vector<uint32_t> offsets;
  void *bytes_at = bytes.data(), *entries_at = entries.data(), *words_at = words.data(), *offsets_at = offsets.data();
  vorn_transpose_table tbl = {};
};

// Fetches the values of random rows by identifiers of `size` bytes, or by pairs if the size is 16.  With a source,
// fetches the values that the source refers to.
void gather(benchmark::State &state, implementation which, uint32_t kind, uint32_t result, uint32_t size,
            uint32_t source) {
  static value_store store;
  constexpr uint64_t rows = cached_rows;
  std::vector<uint8_t> ids(rows * 16);
  word_vector referring(rows * 2);
  std::vector<uint16_t> lens(rows);
  std::vector<const uint8_t *> touched(rows);
  for (uint64_t i = 0; i < rows; ++i) {
    const uint64_t row =
        hash_values()[rows + i] % std::min<uint64_t>(store.count, size < 3 ? 1U << 8 * size : UINT64_MAX);
    std::memcpy(ids.data() + i * size + (size == 16 ? 8 : 0), &row, std::min(size, 8U));
    std::memcpy(&touched[i], &store.entries[2 * row + 1], 8);
    lens[i] = static_cast<uint16_t>(store.entries[2 * row]);
    if (source == VORN_LP)
      std::copy_n(&store.entries[2 * row], 2, &referring[2 * i]);
    else
      referring[i] = source == VORN_DLP ? store.words[row] : store.entries[2 * row + 1];
  }
  vorn_enc_ctx keys = source != 0  ? form(source)
                      : size == 16 ? form(VORN_RIDVALUE)
                                   : fixed(8 * size),
               out = form(result);
  keys.vorn_enc_ctx_dlp_shift = out.vorn_enc_ctx_dlp_shift = value_store::shift;
  keys.vorn_enc_ctx_dlp_table = out.vorn_enc_ctx_dlp_table = &store.bytes_at;
  std::vector<uint8_t> vals(rows * 20);
  std::vector<uint16_t> out_lens(rows);
  const void *given = source != 0 ? static_cast<const void *>(referring.data()) : ids.data();
  vorn_cv src = vector_of(given, keys, rows, lens.data());
  vorn_cv res = vector_of(vals.data(), out, 0, out_lens.data());
  res.vorn_cv_size = vals.size();
  vorn_transpose_table tbl = store.tbl;
  tbl.vorn_tt_flags = kind;
  measure_beside(
      state, static_cast<double>(rows),
      [&] {
        vorn_aux aux = {};
        benchmark::DoNotOptimize(which.record->vorn_gather_dydi(&res, &src, &tbl, &aux));
      },
      [&] { touch(rows, [&](uint64_t i) { return touched[i]; }); });
}

// Four columns of 8 bytes.
void transpose(benchmark::State &state, implementation which, uint32_t flags) {
  constexpr uint64_t rows = cached_rows;
  constexpr uint32_t columns = 4;
  word_vector entries(rows * columns * 2), described(rows * columns * 2);
  std::vector<uint8_t> out(rows * columns * 10);
  void *matrix = entries.data(), *refs, *offsets, *pos, *end = out.data() + out.size();
  vorn_transpose_table from, to;
  vorn_build_transpose_table(&from, columns, 0, 0, 0, 0, &matrix, &matrix, 0, nullptr, 0, 0, 0, nullptr, nullptr, 0,
                             nullptr, nullptr, nullptr, VORN_TT_LP);
  vorn_build_transpose_table(&to, columns, 0, 0, 0, 0, nullptr, &refs, 0, nullptr, 0, 0, 0, nullptr, &offsets, 0,
                             nullptr, &pos, &end, flags);
  vorn_enc_ctx values = fixed(64);
  vorn_aux aux = {};
  const auto refer = [&] {
    for (uint32_t column = 0; column < columns; ++column) {
      vorn_cv src = vector_of(hash_values() + rows * column, values, rows);
      which.record->vorn_transpose_reference_dydi(&from, &src, column, 0, &aux);
    }
  };
  refer();
  measure_beside(
      state, static_cast<double>(rows),
      [&] {
        if (flags == 0)
          return refer();
        refs = offsets = described.data();
        pos = out.data();
        which.record->vorn_transpose_convert_dydi(&to, &from, 0, 0, 0, rows - 1, &aux);
      },
      [&] { touch(rows * columns, [&](uint64_t i) { return reinterpret_cast<const uint8_t *>(&entries[2 * i]); }); });
}

void bloom(benchmark::State &state, implementation which, unsigned bits, uint32_t width, unsigned per_cent) {
  constexpr uint64_t rows = 1U << 20;
  std::vector<uint8_t> map(uint64_t{1} << bits >> 3);
  std::copy_n(reinterpret_cast<const uint8_t *>(hash_values()), map.size(), map.data());
  const auto mask = static_cast<uint32_t>((uint64_t{1} << bits) - 1);
  vorn_enc_ctx keys = form(VORN_HASH_VALUES), filter_enc = {};
  keys.vorn_enc_ctx_width = width;
  vorn_add_encoding_type_bloom(&filter_enc, 0, mask, 0, 0);
  word_vector out(rows / 64), rows_tested = random_bits(rows, per_cent);
  uint32_t range[2];
  vorn_cv src = vector_of(hash_values(), keys, rows), filter = vector_of(nullptr, filter_enc, 0), res = {};
  filter.vorn_cv_bv = reinterpret_cast<uint64_t *>(map.data());
  vorn_build_vector(&res, range, nullptr, nullptr, nullptr, nullptr, out.data(), 0, 0, nullptr, 0);
  vorn_aux aux = {};
  aux.vorn_aux_filter_bv = per_cent == 100 ? nullptr : rows_tested.data();
  measure_beside(
      state, static_cast<double>(rows) * per_cent / 100,
      [&] { benchmark::DoNotOptimize(which.record->vorn_bloom_dydi(&res, &src, &filter, &aux)); },
      [&] {
        touch(rows * per_cent / 100,
              [&](uint64_t i) { return map.data() + (__builtin_bswap64(hash_values()[i]) & mask) / 8; });
      });
}

uint64_t short_hash(const void *data, uint64_t len, uint64_t seed) {
  uint64_t word = 0;
  std::memcpy(&word, data, std::min<uint64_t>(len, sizeof word));
  return (word ^ seed) * 0x9e3779b97f4a7c15U;
}

// Values of 8 bytes by a trivial hash function, beside the calls of that function alone.  A dictionary has 4,096
// values.
void hash(benchmark::State &state, implementation which, uint32_t source) {
  constexpr uint64_t rows = cached_rows;
  std::vector<uint8_t> values(rows * 16);
  std::vector<uint16_t> lens(rows, 8);
  for (uint64_t i = 0; i < rows; ++i) {
    const uint16_t length = 8;
    const void *value = &hash_values()[i];
    if (source == VORN_LV) {
      std::memcpy(&values[i * 10], &length, 2);
      std::memcpy(&values[i * 10 + 2], value, 8);
    } else if (source == VORN_LP || source == VORN_LP_SEP) {
      std::memcpy(&values[i * (source == VORN_LP ? 16 : 8) + (source == VORN_LP ? 8 : 0)], &value, 8);
      if (source == VORN_LP)
        std::memcpy(&values[i * 16], &length, 2);
    } else {
      std::memcpy(&values[i * 8], value, 8);
    }
  }
  vorn_enc_ctx keys = fixed(64), seed_enc = form(VORN_HASH_VALUES);
  std::vector<uint32_t> offsets(4097);
  for (uint32_t code = 0; code < offsets.size(); ++code)
    offsets[code] = __builtin_bswap32(8 * code);
  if (source == VORN_DICT)
    vorn_build_encoding_type_dict(&keys, 12, hash_values(), nullptr, offsets.data(), 4096, VORN_DICT_CLA, 0);
  keys.vorn_enc_ctx_flags = source;
  word_vector out(rows);
  const uint64_t seed = 0;
  vorn_cv src = vector_of(values.data(), keys, rows, lens.data()), seeds = vector_of(&seed, seed_enc, 1);
  vorn_cv res = vector_of(out.data(), seed_enc, rows);
  vorn_hashfn function = short_hash;
  benchmark::DoNotOptimize(function);
  measure_beside(
      state, static_cast<double>(rows),
      [&] { benchmark::DoNotOptimize(which.record->vorn_hash_dydi(&res, &src, &seeds, function, nullptr)); },
      [&] {
        for (uint64_t i = 0; i < rows; ++i)
          out[i] = function(&hash_values()[i], 8, 0);
        benchmark::ClobberMemory();
      });
}

} // namespace

void add_joins(const std::vector<implementation> &found) {
  const auto add = [](const std::string &group, const std::string &subject, const implementation &which, auto run,
                      auto... arguments) {
    benchmark::RegisterBenchmark(name_of(group, subject, which).c_str(), run, which, arguments...)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
  };
  constexpr std::pair<const char *, unsigned> table_sizes[] = {{"256K", 12}, {"16M", 18}, {"1G", 24}};
  constexpr std::pair<const char *, unsigned> map_sizes[] = {{"32K", 18}, {"512K", 22}, {"8M", 26}, {"64M", 29}};
  constexpr named_flag records[] = {{"rid", VORN_PB_RID}, {"lv", VORN_PB_LV}, {"fixed", VORN_PB_FIXED}};
  constexpr named_flag conversions[] = {{"reference", 0},
                                        {"row_cla", VORN_TT_ROW | VORN_TT_CLA},
                                        {"col_cla", VORN_TT_CLA},
                                        {"row_lp", VORN_TT_ROW | VORN_TT_LP},
                                        {"col_lp", VORN_TT_LP}};
  for (const layout &of : layouts)
    for (const auto &[size, bits] : table_sizes) {
      const std::string subject = std::string(of.name) + "_" + size;
      for (const implementation &which : found)
        add("build", subject, which, build, std::cref(of), bits);
      for (const implementation &which : found)
        add("probe", subject, which, probe, std::cref(of), bits);
    }
  for (const implementation &which : found) {
    for (const auto &[name, flag] : results)
      if (flag != VORN_DLP)
        add("hash", name, which, hash, flag);
    add("hash", "dict_12", which, hash, uint32_t{VORN_DICT});
    for (const auto &[name, type] : records)
      for (const unsigned bits : {4U, 8U})
        add("partition", std::string(name) + "_" + std::to_string(1U << bits), which, partition, type, bits);
    for (const auto &[kind, kind_flag] : kinds)
      for (const auto &[result, result_flag] : results)
        for (const uint32_t size : {1U, 2U, 3U, 4U, 8U, 16U})
          add("gather", std::string(kind) + "_" + result + "_" + (size == 16 ? "pair" : std::to_string(size)), which,
              gather, kind_flag, result_flag, size, 0U);
    for (const auto &[source, source_flag] : sources)
      for (const auto &[result, result_flag] : {results[1], results[2]})
        add("gather", std::string(result) + "_" + source, which, gather, 0U, result_flag, 8U, source_flag);
    for (const auto &[name, flags] : conversions)
      add("transpose", name, which, transpose, flags);
    for (const auto &[size, bits] : map_sizes) {
      add("bloom", std::string("hash64_") + size, which, bloom, bits, 64U, 100U);
      add("bloom", std::string("hash32_") + size, which, bloom, bits, 32U, 100U);
      add("bloom", std::string("hash64_selective_10_") + size, which, bloom, bits, 64U, 10U);
    }
  }
}

} // namespace vorn_bench
