// Gather, partition, transposition and sums, in each library, against the generic record: every form, every count up to
// 257 and a large one, outputs of any room, and calls that resume at any row.  Sources end before unreadable memory.
#include "tests/engines/comparison.hpp"
#include "tests/join/rows.hpp"

namespace {

using vorn_test::each, vorn_test::stored_rows;

// The forms as numbers of one type.
constexpr uint32_t fixed = VORN_FIXED, lv_sep = VORN_LV_SEP, lv = VORN_LV, lp_sep = VORN_LP_SEP, lp = VORN_LP,
                   dlp = VORN_DLP, gd = VORN_GD, hash_values = VORN_HASH_VALUES, hashrid = VORN_HASHRID;
constexpr uint32_t value_forms[] = {fixed, lv_sep, lv, lp_sep, lp};

class copies : public vorn_test::engine_test {
protected:
  static constexpr uint32_t most_rows = 12000; // more would not fit the memory of an output

  // Values of one size, or of all sizes with few long ones.
  std::vector<std::string> draw_values(size_t n, size_t size = SIZE_MAX) {
    std::vector<std::string> drawn(n);
    const uint64_t longest = random.one_of({3U, 16U, 24U});
    for (std::string &value : drawn) {
      value.resize(size != SIZE_MAX ? size : random.once_in(50) ? random.below(70) : random.below(longest + 1));
      for (size_t i = 0; i < value.size(); i += 8) {
        const uint64_t bits = random();
        std::memcpy(value.data() + i, &bits, std::min<size_t>(8, value.size() - i));
      }
    }
    return drawn;
  }

  // Makes calls until one of them does not stop for lack of room.  Each has a new output.
  template <class Prepare, class Call>
  void resume(const char *name, uint32_t nrows, uint32_t full, Prepare prepare, Call call) {
    for (records.results[0] = full; records.results[0] == full && !HasFatalFailure();) {
      prepare();
      compare(name, nrows, [&] { records.results[0] = call(vorn_global_ctx); });
    }
    EXPECT_EQ(records.results[0], uint32_t{VORN_RESULT_DONE}) << name;
  }

  // Room for few rows or for all.
  uint64_t draw_room(uint64_t nrows, uint64_t size) {
    return random.once_in(2) ? nrows * size : 100 + random.below(nrows * size + 1);
  }

  template <class Visit>
  void for_fewer_rows(Visit visit) {
    for_each_count([&](uint32_t nrows, bool last) { visit(std::min(nrows, most_rows), last); });
  }
};

// Identifiers of every size select values of a table in one partition or several, or the source refers to values.
TEST_P(copies, gather) {
  constexpr uint32_t kinds[] = {VORN_TT_LP, VORN_TT_DLP, VORN_TT_CLA, 0};
  constexpr uint32_t results[] = {fixed, lv_sep, lv, lp_sep, lp, dlp};
  for (const uint32_t kind : each(kinds))
    for (const uint32_t result : each(results))
      for_fewer_rows([&](uint32_t nrows, bool last) {
        if (kind == 0 && result != lv && result != lv_sep)
          return;
        const unsigned size = random.one_of({1U, 2U, 3U, 4U, 8U, 16U});
        const bool parted = random.once_in(2), pairs = size == 16;
        const unsigned row_bits = size == 1 ? 6 : size == 2 ? 9 : 15; // the highest byte has a bit of the partition
        const size_t width = random.one_of({1U, 3U, 4U, 8U, 15U, 16U, 17U, 40U}), nvalues = row_bits == 6 ? 60 : 400;
        const auto drawn = kind == 0 ? draw_values(nrows) : draw_values(nvalues, result == fixed ? width : SIZE_MAX);
        const stored_rows entries(lp, drawn), data(lv_sep, drawn), words(dlp, drawn, 64);
        std::string offsets;
        for (const uint64_t begin : data.begins)
          offsets += vorn_test::bytes_of(static_cast<uint32_t>(begin));
        vorn_test::guarded_bytes cla(offsets);

        // Each partition begins two rows after the partition before it.
        std::array<void *, 4> lp_at{}, dlp_at{}, cla_at{}, data_at{};
        for (size_t p = 0; p < 4; ++p) {
          lp_at[p] = static_cast<uint8_t *>(entries.cv.vorn_cv_vals) + p * 32;
          dlp_at[p] = static_cast<uint8_t *>(words.cv.vorn_cv_vals) + p * 16;
          cla_at[p] = cla.data() + p * 8;
          data_at[p] = data.cv.vorn_cv_vals;
        }
        vorn_transpose_table tbl = {};
        tbl.vorn_tt_flags = kind;
        tbl.vorn_tt_width = static_cast<uint16_t>(8 * width);
        tbl.vorn_tt_row_bits = static_cast<uint8_t>(parted ? row_bits : 64);
        tbl.vorn_tt_hi_bit = static_cast<uint8_t>(row_bits + 1);
        tbl.vorn_tt_in_refs = lp_at.data();
        tbl.vorn_tt_dlp = dlp_at.data();
        tbl.vorn_tt_cla = cla_at.data();
        tbl.vorn_tt_data = data_at.data();

        records.enc = words.enc; // the encoding of the result describes dlp words
        records.enc.vorn_enc_ctx_flags = result;
        records.enc.vorn_enc_ctx_dlp_shift = kind == VORN_TT_DLP ? 64 : 40;
        const stored_rows referring(kind != 0 ? lp : random.one_of({lp_sep, lp, dlp}), drawn, 40);
        vorn_enc_ctx ids = {};
        ids.vorn_enc_ctx_flags = pairs ? uint32_t{VORN_RIDVALUE} : fixed;
        ids.vorn_enc_ctx_width = 8 * size;
        uint8_t *const id = put(values, uint64_t{size} * nrows, last, static_cast<unsigned>(random.below(8)));
        for (size_t at = 0; at < uint64_t{size} * nrows; at += std::min(size, 8U)) {
          // Identifiers of a table with several partitions may have more bits.
          const uint64_t number = random.below(nvalues - 8) | (parted ? random() << row_bits : 0);
          std::memcpy(id + at, &number, std::min(size, 8U));
        }
        records.src = kind == 0 ? referring.cv : vorn_test::vector_of(id, ids, nrows);
        records.aux.vorn_aux_flags = random.once_in(2) ? uint8_t{VORN_AUX_RID} : uint8_t{0};
        resume(
            "gather", nrows, VORN_RESULT_OUTPUT_FULL,
            [&] {
              records.res = vorn_test::vector_of(nullptr, records.enc, 0, put(out_lens, 2 * uint64_t{nrows}));
              records.res.vorn_cv_size = result == dlp ? 8 * uint64_t{nrows} : draw_room(nrows, 40);
              records.res.vorn_cv_vals = put(out, records.res.vorn_cv_size);
            },
            [&](auto &in_force) { return in_force.vorn_gather_dydi(&records.res, &records.src, &tbl, &records.aux); });
      });
}

// Records of every form.  A full area begins again.
TEST_P(copies, partition) {
  constexpr uint32_t types[] = {VORN_PB_RID_GD, VORN_PB_RID, VORN_PB_LV, VORN_PB_FIXED};
  constexpr uint32_t keys[] = {fixed, lv_sep, lv, lp_sep, lp, hash_values, hashrid};
  for (const uint32_t type : each(types))
    for (const uint32_t any_key : each(keys))
      for_fewer_rows([&](uint32_t nrows, bool /*last*/) {
        const bool rids = type == VORN_PB_RID || type == VORN_PB_RID_GD;
        const uint32_t key = type == VORN_PB_RID_GD ? gd : any_key == hashrid && !rids ? fixed : any_key;
        const uint32_t payload = rids                    ? random.one_of({0U, uint32_t{VORN_AUTORID}})
                                 : type == VORN_PB_FIXED ? fixed
                                                         : random.one_of(value_forms);
        const size_t key_size = key == hashrid ? 16 : key == hash_values ? 8 : key == gd ? 4 : SIZE_MAX;
        const uint16_t width = random.one_of({uint16_t{4}, uint16_t{8}, uint16_t{5}, uint16_t{20}});
        const stored_rows src(key, draw_values(nrows + 1, key == fixed ? 5 : key_size));
        const stored_rows given(rids ? hash_values : payload, draw_values(nrows + 1, rids               ? 8
                                                                                     : payload == fixed ? width
                                                                                                        : SIZE_MAX));
        vorn_enc_ctx given_enc = given.enc;
        given_enc.vorn_enc_ctx_flags = payload;
        records.src = src.cv;
        records.src.vorn_cv_nrows = nrows;
        records.lo = given.cv;
        records.lo.vorn_cv_encoding_context = &given_enc;
        records.lo.vorn_cv_autorid = random();
        const auto nparts = static_cast<uint32_t>(random.one_of({1U, 4U, 16U}));
        const uint64_t span = 100 + draw_room(nrows, 400) / nparts;
        auto **const cur = reinterpret_cast<void **>(put(low, nparts * sizeof(void *)));
        auto **const end = reinterpret_cast<void **>(put(high, nparts * sizeof(void *)));
        uint8_t *const areas = put(out, std::min<uint64_t>(nparts * span, 500000));
        const uint64_t room = std::min<uint64_t>(nparts * span, 500000) / nparts;
        const auto begin = [&](uint32_t p) {
          cur[p] = areas + p * room;
          end[p] = areas + p * room + 100 + random.below(room - 99);
        };
        for (uint32_t p = 0; p < nparts; ++p)
          begin(p);
        vorn_partition_buffer pb;
        vorn_build_partition_buffer(&pb, nullptr, cur, end, static_cast<uint8_t>(__builtin_ctz(nparts) + 2), 3, type);
        pb.vorn_pb_fixed_width = width;
        bool first = true;
        resume(
            "partition", nrows, VORN_RESULT_PARTITION_FULL,
            [&] {
              if (!std::exchange(first, false))
                begin(records.aux.vorn_aux_full_part);
            },
            [&](auto &in_force) {
              return in_force.vorn_partition_dydi(&pb, &records.src, &records.lo, vorn_test::mix, &records.aux);
            });
      });
}

// A matrix of references to columns of every form, and then its rows as records or values.
TEST_P(copies, transposition) {
  for (const uint32_t flags :
       each<uint32_t>({VORN_TT_ROW | VORN_TT_CLA, VORN_TT_CLA, VORN_TT_ROW | VORN_TT_LP, VORN_TT_LP}))
    for_fewer_rows([&](uint32_t nrows, bool /*last*/) {
      const auto ncols = static_cast<uint32_t>(random.one_of({0U, 1U, 2U, 4U, 7U}));
      nrows = std::clamp(nrows, 1U, most_rows / (ncols + 1));
      uint8_t *const matrix = put(operand, uint64_t{nrows} * ncols * 16, true);
      void *matrix_at = matrix;
      vorn_transpose_table tbl = {}, dst = {};
      tbl.vorn_tt_ncols = static_cast<uint16_t>(ncols);
      tbl.vorn_tt_flags = VORN_TT_LP;
      tbl.vorn_tt_refs = tbl.vorn_tt_in_refs = &matrix_at;
      std::deque<stored_rows> columns;
      for (uint32_t column = 0; column < ncols; ++column) {
        const uint32_t form = random.one_of(value_forms);
        records.src = columns.emplace_back(form, draw_values(nrows, form == fixed ? random.below(20) : SIZE_MAX)).cv;
        compare("reference", nrows, [&] {
          records.results[0] =
              vorn_global_ctx.vorn_transpose_reference_dydi(&tbl, &records.src, column, 0, &records.aux);
        });
      }
      if (HasFatalFailure())
        return;
      // The cursors are of the call too, so they are in memory that is compared.
      tbl.vorn_tt_flags = 0;
      auto **const cursors = reinterpret_cast<void **>(put(low, 2 * sizeof(void *)));
      void *end = nullptr;
      dst.vorn_tt_flags = flags;
      dst.vorn_tt_pos = cursors;
      dst.vorn_tt_end = &end;
      dst.vorn_tt_refs = dst.vorn_tt_offsets = cursors + 1;
      const uint64_t row_size = 72 * uint64_t{ncols}; // at most
      records.aux.vorn_aux_start_slot = random.once_in(2) ? 0 : static_cast<uint32_t>(random.below(nrows + 1));
      resume(
          "convert", nrows, VORN_RESULT_TRANSPOSE_FULL,
          [&] {
            const uint64_t room = row_size + random.below(random.once_in(2) ? row_size + 1 : nrows * row_size / 2 + 1);
            cursors[0] = put(out, std::min<uint64_t>(room, 500000));
            end = memory[out].end();
            cursors[1] = put(out_flgs, 16 * (uint64_t{nrows} * std::max(ncols, 1U) + 2)) + 4; // after an offset
          },
          [&](auto &in_force) {
            return in_force.vorn_transpose_convert_dydi(&dst, &tbl, 0, 0, records.aux.vorn_aux_start_slot, nrows - 1,
                                                        &records.aux);
          });
    });
}

// Numbers in every form, without keys, with keys of some groups, and with keys in runs.  No number is a NaN.
TEST_P(copies, sums) {
  constexpr std::pair<uint32_t, unsigned> types[] = {{VORN_NUM_FLOAT, 4}, {VORN_NUM_DOUBLE, 8}, {VORN_NUM_DSB, 1},
                                                     {VORN_NUM_DSB, 2},   {VORN_NUM_DSB, 4},    {VORN_NUM_DSB, 8}};
  for (const auto &number : each(types)) {
    const uint32_t type = number.first;
    const unsigned size = number.second;
    for (const char *shape : each({"all rows", "keys", "runs", "conversion"}))
      for_each_count([&](uint32_t nrows, bool last) {
        const bool native = random.once_in(2) && type != VORN_NUM_DSB;
        uint8_t *const numbers = put(values, uint64_t{nrows} * size, last, static_cast<unsigned>(random.below(8)));
        random.fill(memory[values]);
        for (uint32_t row = 0; row < nrows && type != VORN_NUM_DSB; ++row) { // an exponent that is not the largest
          uint8_t *const top = numbers + row * size + (native ? size - 1 : 0);
          *top = static_cast<uint8_t>((*top & 0xbf) | (!native && *top < 0x80 ? 0x40 : 0));
        }
        records.enc.vorn_enc_ctx_num_type = static_cast<uint8_t>(type);
        records.enc.vorn_enc_ctx_width = 8 * size;
        records.enc.vorn_enc_ctx_flags = native ? uint32_t{VORN_NATIVE} : 0U;
        records.src = vorn_test::vector_of(numbers, records.enc, nrows);
        const auto groups = static_cast<uint32_t>(1 + random.below(random.one_of({1U, 3U, 16U, 5000U})));
        const bool converts = *shape == 'c', keyed = *shape == 'k' || *shape == 'r';
        uint8_t *const keys = put(operand, 4 * uint64_t{nrows}, last);
        uint32_t key = 0;
        for (uint32_t row = 0; row < nrows; ++row) {
          if (*shape == 'k' || random.once_in(150))
            key = static_cast<uint32_t>(random.below(groups));
          const uint32_t of_row = random.once_in(100) ? static_cast<uint32_t>(random.below(groups)) : key;
          std::memcpy(keys + 4 * row, &of_row, 4);
        }
        const vorn_cv key_vector = vorn_test::vector_of(keys, records.enc, nrows);
        records.aux.vorn_aux_flags = converts && random.once_in(2) ? uint8_t{VORN_AUX_SUM} : uint8_t{0};
        const uint64_t width = type == VORN_NUM_DSB ? 8 : size; // of a sum
        records.res = {};
        records.res.vorn_cv_vals = put(out, width * (keyed ? groups : converts ? nrows + 1 : 1));
        std::fill(memory[out].begin(), memory[out].end(), uint8_t{0});
        compare(shape, nrows, [&] {
          vorn_cv by = key_vector;
          records.results[0] = converts ? vorn_global_ctx.vorn_convert_dydi(&records.res, &records.src, &records.aux)
                                        : vorn_global_ctx.vorn_gby_sum_dydi(&records.res, &records.src,
                                                                            keyed ? &by : nullptr, &records.aux);
        });
      });
  }
}

INSTANTIATE_TEST_SUITE_P(each, copies,
                         testing::ValuesIn(vorn_test::implementations + 1, std::end(vorn_test::implementations)),
                         vorn_test::implementation_name);

} // namespace
