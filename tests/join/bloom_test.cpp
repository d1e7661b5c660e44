// The bloom test, against one row after the other.
#include "tests/join/calls.hpp"

namespace {

using namespace vorn_test;

struct bloom_test : join_test {
  // Passes rows by a map, or by pages of which any two neighbours differ.
  void check(vorn_enc_ctx map, uint32_t width, uint32_t nrows, uint32_t start, bool filtered) {
    const uint32_t mask = map.vorn_enc_ctx_bloom_mask, shift = map.vorn_enc_ctx_ind_shift % 32;
    const uint32_t page_mask = map.vorn_enc_ctx_bloom_ind ? map.vorn_enc_ctx_ind_mask : mask;
    const std::string bits[] = {value(page_mask / 8 + 1), value(page_mask / 8 + 1), value(page_mask / 8 + 1)};
    stored_rows maps(VORN_LP_SEP, {bits[0], bits[1], bits[2]}), one(VORN_FIXED, {bits[0]});
    std::vector<const uint8_t *> pages;
    for (uint64_t page = 0; map.vorn_enc_ctx_bloom_ind && page <= mask >> shift; ++page)
      pages.push_back(maps.places[page % 3]);

    const size_t nwords = (nrows + 63) / 64;
    uint64_t *const filter = filtered ? filters.last_words(nwords) : nullptr, *const bv = results.last_words(nwords);
    std::generate_n(bv, nwords, [&] { return random() & random() & random(); });
    std::generate_n(filter, filtered ? nwords : 0, [&] { return random() % 4 ? random() : 0; }); // with stray bits
    std::vector<uint64_t> expected(bv, bv + nwords);
    std::vector<std::string> hashes;
    uint32_t popc = 0, range[] = {1, 2, 3}, first = UINT32_MAX, last = UINT32_MAX;
    for (uint32_t row = 0; row < nrows; ++row) {
      const auto hash = static_cast<uint32_t>(random());
      hashes.push_back(value(width % 256 == 32 ? 0 : 4) + bytes_of(__builtin_bswap32(hash)));
      const uint32_t h = hash & mask, bit = h & page_mask;
      const std::string &page = bits[map.vorn_enc_ctx_bloom_ind ? (h >> shift) % 3 : 0];
      if (row < start || (filtered && !(filter[row / 64] >> row % 64 & 1)) || !(page[bit / 8] >> bit % 8 & 1))
        continue;
      expected[row / 64] |= uint64_t{1} << row % 64;
      ++popc;
      first = std::min(first, row);
      last = row;
    }
    stored_rows src(VORN_HASH_VALUES, hashes, width);
    src.enc.vorn_enc_ctx_flags = all_flags;
    vorn_cv res = result_of(bv, 77), by = result_of(pages.empty() ? static_cast<uint64_t *>(one.cv.vorn_cv_vals)
                                                                  : reinterpret_cast<uint64_t *>(pages.data()),
                                                    0);
    res.vorn_cv_vals = range;
    by.vorn_cv_encoding_context = &map;
    vorn_aux aux = selective_by(filter, random() % 2), after;
    aux.vorn_aux_flags |= static_cast<uint8_t>(random() % 2);
    aux.vorn_aux_start_row = start;
    aux.vorn_aux_op_bits[0] = 5;
    std::memcpy(&after, &aux, sizeof aux);
    after.vorn_aux_op_bits[1] = filtered ? 0x20 : 0;
    EXPECT_EQ(vorn_global_ctx.vorn_bloom_dydi(&res, &src.cv, &by, &aux), popc == 0 ? 1U : 0U);
    src.enc.vorn_enc_ctx_flags = ~uint32_t{VORN_HASH_VALUES};
    EXPECT_EQ(vorn_global_ctx.vorn_bloom_dydi(&res, &src.cv, &by, &aux), refused);
    EXPECT_TRUE(same(aux, after) && results.intact(8 * nwords));
    EXPECT_EQ(std::vector<uint64_t>(bv, bv + nwords), expected);
    EXPECT_EQ(std::tuple(res.vorn_cv_popc, res.vorn_cv_nrows, range[0], range[1], range[2]),
              std::tuple(popc, 77U, first, last, 3U));
  }

  guarded filters{64}, results{64};
};

TEST_P(bloom_test, passes_the_rows_whose_bits_are_set) {
  const struct {
    uint8_t ind;
    uint32_t mask, shift, ind_mask;
  } maps[] = {{0, 0x3ff, 3, 1},
              {0, 0, 0, 0},
              {0, 0x5255, 40, 0},
              {1, 0x3fff, 10, 0x3ff},
              {0x80, 0xfff00fff, 52, 0xfff},
              {1, 0x7f, 32, 0x15},
              {1, UINT32_MAX, 31, 0xff}};
  for (const auto &[ind, mask, shift, ind_mask] : maps)
    for (const uint32_t width : {32U, 64U, 16U, 0U, 0x120U})
      for (const uint32_t nrows : {0U, 1U, 64U, 65U, 200U})
        for (const uint32_t start : {0U, 1U, 64U, nrows, nrows + 70})
          for (const bool filtered : {false, true}) {
            vorn_enc_ctx map = {};
            vorn_add_encoding_type_bloom(&map, ind, mask, shift, ind_mask);
            check(map, width, nrows, start, filtered);
            ASSERT_FALSE(HasFailure()) << "mask " << mask << " width " << width << " rows " << nrows << " start "
                                       << start << " filtered " << filtered;
          }
}

VORN_TEST_ALL_IMPLEMENTATIONS(bloom_test);

} // namespace
