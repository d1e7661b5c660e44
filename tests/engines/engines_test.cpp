// The kernels with engines, in each library, against the generic record.  The generic kernels are tested against
// models. This test has more rows: every count up to 257 and a large one, with unreadable memory around them.
//
// --gtest_random_seed draws other cases.  VORN_TEST_ONE_IN=N takes one of N cases, for slow processors.
#include <numeric>

#include "tests/engines/comparison.hpp"

namespace {

using vorn_test::each, vorn_test::each_from;
using vorn_test::placed_vector;
using vorn_test::slot;
using vorn_test::store_big;

constexpr uint64_t top_of(unsigned width) { return width == 0 ? 0 : UINT64_MAX >> (64 - width); }

class engines : public vorn_test::engine_test {
protected:
  using engine_test::compare;
  void compare(const slot &s, uint64_t nrows) {
    const bool scan = s.predicate() || s.opcode() == VORN_OPC_SET;
    compare(s.name(), nrows, [&] {
      records.results[0] = scan ? s.run(records.res, records.src, records.lo, records.hi, records.aux)
                                : s.run(records.res, records.src, records.aux);
    });
  }

  uint8_t *put_codes(unsigned width, bool last) {
    uint8_t *bytes = put(values, (numbers.size() * width + 7) / 8, last, static_cast<unsigned>(random.below(8)));
    for (size_t i = 0; i < numbers.size(); ++i)
      vorn_model::put_code(bytes, width, i, numbers[i]);
    return bytes;
  }

  // Runs with nrows rows in total, and their CLA.
  void put_runs(uint32_t nrows, unsigned bits, bool indexed, uint64_t shortest) {
    const uint64_t longest = std::min(random.one_of({1UL, 3UL, 20UL, 100UL, 65535UL}), top_of(bits));
    runs.clear();
    for (uint32_t left = nrows; left != 0; left -= runs.back())
      runs.push_back(static_cast<uint32_t>(shortest + random.below(std::min<uint64_t>(left, longest) + 1 - shortest)));
    uint8_t *length = put(lens, runs.size() * bits / 8), *first = put(operand, 4 * runs.size() + 4);
    vorn_add_encoding_type_rle(&records.enc, length, indexed ? first : nullptr, static_cast<uint8_t>(bits),
                               static_cast<uint32_t>(runs.size()), nullptr);
    uint32_t row = 0;
    for (size_t run = 0; run < runs.size(); row += runs[run++]) {
      store_big(length + run * bits / 8, indexed ? 0xa5a5 : runs[run], bits / 8); // with a CLA the lengths are not read
      store_big(first + 4 * run, row, 4);
    }
    store_big(first + 4 * runs.size(), row, 4);
  }

  void check_scan(const slot &s, uint32_t nrows);
  void check_predicates(const slot &first, unsigned width, bool uniform, uint32_t nrows, bool last);
  void check_unpack(const slot &s, unsigned run_bits, uint32_t nrows);
  void check_bits(uint32_t nbits, bool last);

  std::array<vorn_test::family, 2> families; // of the generic record and of the record in force
  std::vector<uint64_t> numbers;
  std::vector<uint32_t> runs;
};

// A scan of the source with mask and filter, or by its selective twin.
void engines::check_scan(const slot &s, uint32_t nrows) {
  records.src.vorn_cv_mask_bv = random.once_in(4) ? put_bits(mask, nrows) : nullptr;
  records.aux = vorn_test::selective_by(random.once_in(3) ? nullptr : put_bits(filter, nrows), random.once_in(2));
  records.aux.vorn_aux_op_bits[2] = 0x40;
  put(out, (nrows + 63) / 64 * 8);
  records.res = vorn_test::result_of(memory[out], nrows);
  records.res.vorn_cv_popc = 1234;
  compare(s, nrows);
}

// The ten predicates over a column.
void engines::check_predicates(const slot &first, unsigned width, bool uniform, uint32_t nrows, bool last) {
  const bool packed = first.encoding() == VORN_ENC_DYNP, codes = first.encoding() == VORN_ENC_DICT;
  const unsigned size = width / 8, bits = codes ? 0 : vorn_model::length_code_bits(first.width());
  records.enc = first.encoding_context(uniform ? VORN_UNIFORM_LENS : 0);
  records.enc.vorn_enc_ctx_width = width;
  random.draw(numbers, nrows, top_of(width));

  // Sometimes all dynamic-packed values have the same length.
  uint8_t *lengths = put(lens, uniform ? 1 : (uint64_t{nrows} * bits + 7) / 8);
  const auto shortest = random.once_in(4) ? random.below(size + 1) : 0;
  std::vector<uint8_t> stored(nrows, static_cast<uint8_t>(size)); // bytes of each value
  if (uniform)
    *lengths = static_cast<uint8_t>(random());
  for (uint32_t row = 0; row < nrows && bits != 0 && !uniform; ++row) {
    const auto code = static_cast<uint8_t>(std::max(shortest, random.below(first.width() / 8)) & top_of(bits));
    vorn_model::put_length_code(lengths, bits, row, code & (packed ? size - 1 : 255U));
    stored[row] = packed ? static_cast<uint8_t>((code & (size - 1)) + 1) : stored[row];
  }
  uint8_t *at = nullptr;
  if (codes)
    put_codes(width, last);
  else
    at = put(values, std::accumulate(stored.begin(), stored.end(), size_t{0}), last,
             static_cast<unsigned>(random.below(8)));
  for (uint32_t row = 0; row < nrows && !codes; at += stored[row++])
    store_big(at, numbers[row] >> 8 * (size - stored[row]), stored[row]);
  records.src = vorn_test::vector_of(memory[values].begin(), records.enc, nrows, lengths);

  for (const unsigned opcode : each_from<unsigned>(VORN_OPC_EQ, VORN_OPC_GE_LE)) {
    for (const auto &[cv, value, code] : {std::tuple{&records.lo, low, low_code}, {&records.hi, high, high_code}}) {
      const uint64_t number = random.bound(numbers, top_of(width));
      *cv = vorn_test::vector_of(put(value, codes ? 4 : size), records.enc, 1, put(code, 1));
      codes ? std::memcpy(cv->vorn_cv_vals, &number, 4) : (store_big(memory[value], number, size), nullptr);
      *memory[code].begin() = static_cast<uint8_t>(uniform              ? *lengths + random.below(3) - 1
                                                   : random.once_in(16) ? random() // refused where values are packed
                                                                        : random.below(first.width() / 8 + 1));
    }
    check_scan({first.index + opcode}, nrows);
  }
}

// Kernels of fixed values are also tested with the narrower widths that they serve.
TEST_P(engines, predicates) {
  for (const slot &s : each(vorn_test::slots_where([](const slot &any) { return any.opcode() == VORN_OPC_EQ; }))) {
    const bool fixed = s.encoding() == VORN_ENC_FIXED;
    const unsigned narrowest = fixed && s.width() > 16 ? s.width() / 2 + 8 : s.width();
    for (const unsigned more : each_from(0U, (s.width() - narrowest) / 8))
      for (const int uniform : each_from(0, fixed && s.flag() ? 1 : 0))
        for_each_count(
            [&](uint32_t nrows, bool last) { check_predicates(s, narrowest + 8 * more, uniform != 0, nrows, last); });
  }
}

// The map ends with the word of the largest code.
TEST_P(engines, sets) {
  for (const slot &s : each(vorn_test::slots_of(VORN_OPC_SET, 22)))
    for_each_count([&](uint32_t nrows, bool last) {
      records.enc = s.encoding_context();
      random.draw(numbers, nrows,
                  std::min(top_of(s.width()), random.once_in(2) ? uint64_t{70000} : 1 + random.below(300)));
      records.src = vorn_test::vector_of(put_codes(s.width(), last), records.enc, nrows);
      records.lo.vorn_cv_bv = put_bits(operand, nrows == 0 ? 1 : *std::ranges::max_element(numbers) + 1);
      check_scan(s, nrows);
    });
}

// A range, a filter and a list of one column, from row 0 to 70 on.
void engines::check_unpack(const slot &s, unsigned run_bits, uint32_t nrows) {
  for (const char *form : each({"range", "filter", "list"})) {
    const uint32_t start = std::min(nrows, static_cast<uint32_t>(random.below(71)));
    records.aux = {};
    records.aux.vorn_aux_flags = random.once_in(2) ? VORN_AUX_UNPACK_UB4 : 0;
    records.aux.vorn_aux_start_slot = start;
    records.aux.vorn_aux_run_idx = 77;
    if (run_bits != 0 && start != 0 &&
        random.below(3) != 0) { // the call resumes in the run of the row before it, or of an earlier row
      const uint64_t row = start - 1 - random.below(std::min(start, 3U));
      uint32_t run = 0, end = runs[0];
      while (end <= row)
        end += runs[++run];
      records.aux.vorn_aux_run_idx = run;
      records.aux.vorn_aux_run_end = end;
    }
    uint64_t room = random.one_of({uint64_t{0}, uint64_t{1}, random.below(nrows + 2), uint64_t{256}, uint64_t{nrows}});
    if (*form == 'f')
      records.aux.vorn_aux_filter_bv = put_bits(filter, nrows);
    if (*form == 'l') {
      room = start == nrows ? 0 : random.below(nrows - start) + 1;
      if (room == 0 && run_bits != 0)
        continue; // an empty list over runs is an error
      put(operand, 4 * room);
      records.aux.vorn_aux_ones_vec = memory[operand];
      records.aux.vorn_aux_ones_vec_size = static_cast<uint32_t>(room);
      std::generate_n(records.aux.vorn_aux_ones_vec, room,
                      [&] { return start + static_cast<uint32_t>(random.below(nrows - start)); });
      if (run_bits != 0)
        std::sort(records.aux.vorn_aux_ones_vec, records.aux.vorn_aux_ones_vec + room);
    }
    const unsigned element = records.aux.vorn_aux_flags != 0 || s.width() > 16 ? 4 : s.width() > 8 ? 2 : 1;
    records.res = {};
    records.res.vorn_cv_nrows = static_cast<uint32_t>(room);
    records.res.vorn_cv_vals = put(out, room * element);
    compare(s, nrows);
  }
}

TEST_P(engines, unpack) {
  for (const slot &s : each(vorn_test::slots_of(VORN_OPC_DECODE_UNPACK, 22)))
    for (const unsigned run_bits : each({0U, 8U, 16U}))
      for ([[maybe_unused]] const int repetition : each_from(1, 2))
        for_each_count([&](uint32_t nrows, bool last) {
          records.enc = s.encoding_context();
          if (run_bits != 0)
            put_runs(nrows, run_bits, false, 1);
          random.draw(numbers, run_bits == 0 ? nrows : runs.size(), top_of(s.width()));
          records.src = vorn_test::vector_of(put_codes(s.width(), last), records.enc, nrows);
          check_unpack(s, run_bits, nrows);
        });
}

// The values of a list of rows.  No symbol is read.
TEST_P(engines, decode) {
  for (const slot &s : each(vorn_test::slots_of(VORN_OPC_DECODE, 22)))
    for (const bool offsets : each({false, true}))
      for_each_count([&](uint32_t listed, bool last) {
        const auto ncodes = 1 + static_cast<uint32_t>(random.below(2 * std::min(listed, 20000U) + 9));
        random.draw(numbers, ncodes, std::min(top_of(s.width()), offsets ? 1 + random.below(5000) : UINT64_MAX));
        const auto nsyms = static_cast<uint32_t>(1 + *std::ranges::max_element(numbers));
        uint8_t *cla = put(operand, offsets ? 4 * (uint64_t{nsyms} + 1) : 0, true);
        uint64_t offset = 0;
        for (uint64_t i = 0; offsets && i <= nsyms; offset += random.once_in(20) ? 65536 : random.below(9))
          store_big(cla + 4 * i++, offset, 4);
        uint8_t *length = put(low, 2);
        store_big(length, random.once_in(4) ? 0 : random(), 2);
        vorn_build_encoding_type_dict(&records.enc, s.width(), cla, length, cla, nsyms,
                                      offsets ? VORN_DICT_CLA : VORN_DICT_ONE_LENGTH, 0);
        const bool of_runs = random.once_in(2); // the number of runs is the number of codes
        if (of_runs)
          vorn_add_encoding_type_rle(&records.enc, nullptr, nullptr, 8, ncodes, nullptr);
        records.src = vorn_test::vector_of(put_codes(s.width(), last), records.enc, of_runs ? 3 : ncodes);
        put(filter, 4 * uint64_t{listed});
        records.aux.vorn_aux_ones_vec = memory[filter];
        records.aux.vorn_aux_ones_vec_size = listed;
        std::generate_n(records.aux.vorn_aux_ones_vec, listed,
                        [&] { return static_cast<uint32_t>(random.below(ncodes)); });
        records.res.vorn_cv_vals = put(out, 8 * uint64_t{listed});
        records.res.vorn_cv_lens = put(out_lens, 2 * uint64_t{listed});
        records.res.vorn_cv_flgs = random.once_in(3) ? nullptr : put(out_flgs, 2 * uint64_t{listed});
        compare(s, listed);
      });
}

TEST_P(engines, bursts) {
  for (const unsigned bits : each({8U, 16U}))
    for (const bool indexed : each({false, true}))
      for ([[maybe_unused]] const int repetition : each_from(1, 10))
        for_each_count([&](uint32_t nrows, bool /*last*/) {
          vorn_build_encoding_type_dict(&records.enc, 8, nullptr, nullptr, nullptr, 0, 0, 0);
          put_runs(nrows, bits, indexed, random.below(2));
          records.src = vorn_test::vector_of(nullptr, records.enc, 0);
          records.aux.vorn_aux_filter_bv = put_bits(filter, runs.size());
          const auto nbits =
              static_cast<uint32_t>(nrows + random.one_of({0U, 0U, 35U, 70U})); // the additional rows belong to no run
          put(out, (nbits + 63) / 64 * 8);
          records.res = vorn_test::result_of(memory[out], nbits);
          compare({static_cast<uint32_t>(records.enc.vorn_enc_ctx_minor_type << 5 | VORN_OPC_BURST)}, nrows);
        });
}

// The operations of a family, and then its iterator.
void engines::check_bits(uint32_t nbits, bool last) {
  const vorn_test::family &generic = families[0];
  const auto check = [&](const char *name, auto operation) {
    compare(name, nbits, [&] { operation(families[vorn_global_ctx.vorn_global_ctx_dispatch != vorn_dispatch_table]); });
  };
  const auto place = [&](placed_vector &v) {
    v.place(last ? vorn_test::at_end : static_cast<unsigned>(random.below(generic.unit == 8 ? 8 : 1)),
            generic.size(nbits));
    random.fill(v);
  };
  auto *const count = reinterpret_cast<uint32_t *>(records.results);
  place(memory[out]);
  for (const size_t op : each_from(size_t{0}, generic.combinations.size() - 1)) {
    std::ranges::for_each(sources, place);
    const auto target = random.below(generic.combinations[op].nsources + 1);
    const placed_vector &dst = target == 0 ? memory[out] : sources[target - 1];
    uint32_t *const counted = random.once_in(3) ? nullptr : count;
    check("combination", [&](auto &ops) { ops.combinations[op].run(dst, counted, sources, nbits); });
  }
  check("popcnt", [&](auto &ops) { ops.popcnt(count, sources[0], nbits); });
  if (nbits != 0) {
    const uint64_t from = random.below(nbits), to = from + random.below(nbits - from);
    check("set_range", [&](auto &ops) { ops.set_range(sources[0], from, to); });
    check("clr_range", [&](auto &ops) { ops.clr_range(sources[1], from, to); });
  }
  const auto mode = static_cast<uint8_t>(random.below(3));
  const uint64_t start = random.once_in(2) ? 0 : random.below(8 * generic.size(nbits) + 1);
  check("ictx_ini2", [&](auto &ops) { ops.start(records.iterator, sources[2], nbits, mode, start); });
  for (unsigned step = 0; step < 6; ++step) {
    const uint32_t batch = random.one_of({0U, 1U, 7U, 64U, 65U, nbits});
    put(operand, 4 * uint64_t{batch});
    const bool singly = random.once_in(3);
    check("iterator", [&](auto &ops) {
      for (uint64_t &result : records.results)
        result = mode == 1 ? ops.iter_clr(records.iterator)
                 : singly  ? ops.iter(records.iterator)
                           : ops.ones(records.iterator, memory[operand], batch);
    });
  }
}

TEST_P(engines, bit_vectors) {
  for (const bool of_words : each({false, true})) {
    families[1] = vorn_test::family_in_force(of_words);
    const vorn_global_ctx_t in_force = std::exchange(vorn_global_ctx, vorn_test::initial_global_ctx);
    families[0] = vorn_test::family_in_force(of_words);
    vorn_global_ctx = in_force;
    for ([[maybe_unused]] const int repetition : each_from(1, 20))
      for_each_count([&](uint32_t nbits, bool last) { check_bits(nbits, last); });
  }
}

// Tables of every width, at every address.  A page has 64 entries.
TEST_P(engines, translation) {
  for (const slot &s : each(vorn_test::slots_of(VORN_OPC_XLATE, 31)))
    for_each_count([&](uint32_t nrows, bool last) {
      const unsigned bits = std::array{1U, 4U, 8U, 16U, 32U}[s.width_code()];
      const bool paged = s.encoding() == VORN_ENC_DYNP, groups = s.encoding() == VORN_ENC_RLE;
      const auto npages = static_cast<uint32_t>(1 + random.below(random.once_in(2) ? 4 : 500));
      uint8_t *entries = put(operand, npages * 8 * bits, last, static_cast<unsigned>(random.below(8)));
      random.fill(memory[operand]);
      uint8_t *pages = put(low, npages * sizeof entries);
      for (uint32_t page = 0; page < npages; ++page) {
        const uint8_t *at = random.once_in(4) ? nullptr : entries + page * 8 * bits;
        std::memcpy(pages + page * sizeof at, &at, sizeof at);
      }
      records.enc.vorn_enc_ctx_xlate_base = s.encoding() == VORN_ENC_DICT ? static_cast<uint32_t>(random()) : 0;
      records.enc.vorn_enc_ctx_flags = VORN_HASH_VALUES;
      records.enc.vorn_enc_ctx_width = 32;
      records.enc.vorn_enc_ctx_ind_shift = 6;
      records.enc.vorn_enc_ctx_ind_mask = 63;
      uint8_t *keys = put(values, 4 * uint64_t{nrows}, last, static_cast<unsigned>(random.below(8)));
      for (uint32_t row = 0; row < nrows; ++row) {
        const uint64_t key = records.enc.vorn_enc_ctx_xlate_base + random.below(64 * npages);
        groups ? (void) std::memcpy(keys + 4 * row, &key, 4) : store_big(keys + 4 * row, key, 4);
      }
      records.src = vorn_test::vector_of(keys, records.enc, nrows);
      records.lo.vorn_cv_encoding_context = &records.enc;
      records.lo.vorn_cv_bv = reinterpret_cast<uint64_t *>(paged ? pages : entries);
      records.aux = vorn_test::selective_by(random.once_in(4) ? put_bits(filter, nrows) : nullptr);
      records.aux.vorn_aux_start_row = random.once_in(2) ? 0 : static_cast<uint32_t>(random.below(130));
      records.aux.vorn_aux_xlate_enc = &records.enc;
      records.aux.vorn_aux_xlate_n = static_cast<uint32_t>(random());
      records.aux.vorn_aux_xlate_tbl =
          groups ? entries : put(out_lens, (nrows * bits + 7) / 8, last, static_cast<unsigned>(random.below(8)));
      records.res = vorn_test::result_of(put_bits(out, nrows), nrows);
      records.res.vorn_cv_vals =
          groups ? put(out_flgs, 4 * uint64_t{nrows}) : reinterpret_cast<uint8_t *>(&records.results[1]);
      compare(s.name(), nrows,
              [&] { records.results[0] = s.run(records.res, records.src, records.lo, records.lo, records.aux); });
    });
}

// Numbers in both forms, constants, and results that overwrite an operand.  No number is a NaN, since a NaN may get its
// bits from either operand.
TEST_P(engines, arithmetic) {
  for (const unsigned opcode : each({VORN_OPC_ADD, VORN_OPC_SUB, VORN_OPC_MUL}))
    for (const slot &s : each(vorn_test::slots_of(opcode, 16)))
      for_each_count([&](uint32_t nrows, bool last) {
        const unsigned size = s.width_code() & 1 ? 8 : 4, constant = static_cast<unsigned>(random.below(4));
        uint8_t *operands[] = {nullptr, nullptr};
        vorn_enc_ctx enc[2] = {};
        for (const unsigned side : {0U, 1U}) {
          const bool canonical = s.width_code() >> (2 + side) & 1;
          operands[side] = put(side == 0 ? low : high, uint64_t{size} * (nrows + 1), last, size == 8 ? 3 : 0);
          for (uint64_t i = 0; i <= nrows; ++i) {
            const uint64_t sign = 1ULL << (8 * size - 1), bits = random() & (2 * sign - 1) & ~(sign >> 1); // below 2
            canonical ? store_big(operands[side] + i * size, bits & sign ? ~bits : bits | sign, size)
                      : (void) std::memcpy(operands[side] + i * size, &bits, size);
          }
          enc[side].vorn_enc_ctx_flags =
              (canonical ? 0U : uint32_t{VORN_NATIVE}) | (constant >> side & 1 ? uint32_t{VORN_CONST} : 0U);
        }
        vorn_cv left = vorn_test::vector_of(operands[0], enc[0], nrows);
        const vorn_cv right = vorn_test::vector_of(operands[1], enc[1], nrows);
        uint8_t *const apart = put(out, uint64_t{size} * (nrows + 1));
        std::memset(apart, 0, size);
        records.res.vorn_cv_vals = random.once_in(2) ? apart : operands[random.below(2)];
        if (s.flag())
          records.res.vorn_cv_vals = apart;
        compare(s.name(), nrows, [&] { records.results[0] = s.run(records.res, left, right, right, records.aux); });
      });
}

// One to four columns with codes of every size, in batches of every size, with a filter or without.
TEST_P(engines, group_keys) {
  const vorn_ctx ctx = env.context();
  for (const uint32_t ncols : each({1U, 2U, 2U, 3U, 4U}))
    for ([[maybe_unused]] const int repetition : each_from(1, 10))
      for_each_count([&](uint32_t nrows, bool last) {
        const part parts_of_columns[] = {values, lens, low, high};
        std::array<vorn_enc_ctx, 4> encodings = {};
        std::vector<vorn_cv> columns;
        for (uint32_t i = 0; i < ncols; ++i) {
          const uint32_t width = random.one_of({1U, 5U, 7U, 8U, 8U, 12U, 16U, 20U, 24U, 32U});
          vorn_build_encoding_type_dict(&encodings[i], width, nullptr, nullptr, nullptr, 1, 0, 0);
          put(parts_of_columns[i], (uint64_t{nrows} * width + 7) / 8, last, static_cast<unsigned>(random.below(8)));
          random.fill(memory[parts_of_columns[i]]);
          columns.push_back(vorn_test::vector_of(memory[parts_of_columns[i]].begin(), encodings[i], nrows));
        }
        records.aux.vorn_aux_ctx = &ctx;
        records.aux.vorn_aux_flags = random.once_in(2) ? VORN_AUX_MULTIPLY : 0;
        records.aux.vorn_aux_start_slot = random.once_in(2) ? 0 : static_cast<uint32_t>(random.below(70));
        records.aux.vorn_aux_filter_bv = random.once_in(3) ? put_bits(filter, nrows) : nullptr;
        const auto room = static_cast<uint32_t>(random.once_in(2) ? nrows : random.below(nrows + 2));
        const uint32_t batch = random.one_of({1U, 7U, 64U, 300U, 2047U, 5000U});
        std::vector<uint32_t> scratch(batch);
        records.res.vorn_cv_nrows = room;
        records.res.vorn_cv_vals = put(out, 4 * uint64_t{room});
        records.src.vorn_cv_nrows = batch;
        records.src.vorn_cv_vals = scratch.data();
        compare("group key", nrows, [&] {
          auto &results = records.results;
          uint32_t keys = 0;
          results[0] = vorn_global_ctx.vorn_groupkey_dydi(&records.res, &keys, columns.data(), ncols, &records.src,
                                                          &records.aux);
          results[1] = keys;
        });
      });
}

INSTANTIATE_TEST_SUITE_P(each, engines,
                         testing::ValuesIn(vorn_test::implementations + 1, std::end(vorn_test::implementations)),
                         vorn_test::implementation_name);

} // namespace
