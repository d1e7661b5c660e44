// The bloom test, against one row after the other.
#include "tests/join/calls.hpp"

namespace {

using namespace vorn_test;

struct bloom_test : join_test {
  void check(vorn_enc_ctx map, uint32_t width, uint32_t nrows, uint32_t start, bool filtered) {
    const uint32_t mask = map.vorn_enc_ctx_bloom_mask, shift = map.vorn_enc_ctx_ind_shift % 32;
    const bool paged = map.vorn_enc_ctx_bloom_ind != 0;
    const uint32_t page_mask = paged ? map.vorn_enc_ctx_ind_mask : mask;
    const auto bits = values(3, page_mask / 8 + 1); // of the map, or of pages that take turns
    const stored_rows stored[] = {{VORN_FIXED, {bits[0]}}, {VORN_FIXED, {bits[1]}}, {VORN_FIXED, {bits[2]}}};
    std::vector<void *> pages;
    for (uint64_t page = 0; paged && page <= mask >> shift; ++page)
      pages.push_back(stored[page % 3].cv.vorn_cv_vals);
    const size_t nwords = (nrows + 63) / 64;
    uint64_t *const filter = filtered ? filters.last_words(nwords) : nullptr, *const bv = results.last_words(nwords);
    std::generate_n(filter, filtered ? nwords : 0, [&] { return random() % 4 ? random() : 0; }); // with stray bits
    std::generate_n(bv, nwords, [&] { return random() & random() & random(); });

    std::vector<uint64_t> expected(bv, bv + nwords);
    std::vector<uint32_t> passed;
    const auto hashes = values(nrows, width % 256 == 32 ? 4 : 8);
    for (uint32_t row = start; row < nrows; ++row) {
      uint32_t hash;
      std::memcpy(&hash, hashes[row].data() + hashes[row].size() - 4, sizeof hash);
      const uint32_t h = __builtin_bswap32(hash) & mask, bit = h & page_mask;
      if ((filtered && !(filter[row / 64] >> row % 64 & 1)) ||
          !(bits[paged ? (h >> shift) % 3 : 0][bit / 8] >> bit % 8 & 1))
        continue;
      passed.push_back(row);
      expected[row / 64] |= uint64_t{1} << row % 64;
    }
    stored_rows src(VORN_HASH_VALUES, hashes, width);
    uint32_t range[] = {1, 2};
    vorn_cv res = result_of(bv, 77), filter_cv = vector_of(nullptr, map, 0);
    res.vorn_cv_vals = range;
    filter_cv.vorn_cv_bv = static_cast<uint64_t *>(paged ? pages.data() : stored[0].cv.vorn_cv_vals);
    vorn_aux aux = selective_by(filter, random() % 2), after = aux;
    aux.vorn_aux_flags = after.vorn_aux_flags = static_cast<uint8_t>(random()); // which do not matter
    aux.vorn_aux_start_row = after.vorn_aux_start_row = start;
    after.vorn_aux_op_bits[1] = filtered ? 0x20 : 0;
    EXPECT_EQ(vorn_global_ctx.vorn_bloom_dydi(&res, &src.cv, &filter_cv, &aux), passed.empty() ? 1U : done);
    src.enc.vorn_enc_ctx_flags = ~uint32_t{VORN_HASH_VALUES};
    EXPECT_EQ(vorn_global_ctx.vorn_bloom_dydi(&res, &src.cv, &filter_cv, &aux), refused);
    EXPECT_TRUE(same(aux, after) && results.intact(8 * nwords));
    EXPECT_EQ(std::vector<uint64_t>(bv, bv + nwords), expected);
    EXPECT_EQ(res.vorn_cv_popc, passed.size());
    passed.resize(std::max<size_t>(passed.size(), 1), UINT32_MAX); // where there is none
    EXPECT_TRUE(range[0] == passed.front() && range[1] == passed.back());
  }

  guarded filters{64}, results{64};
};

TEST_P(bloom_test, passes_the_rows_whose_bits_are_set) {
  constexpr uint32_t maps[][4] = {{0, 0x3ff, 3, 1},
                                  {0, 0, 0, 0},
                                  {0, 0x5255, 40, 0},
                                  {1, 0x3fff, 10, 0x3ff},
                                  {0x80, 0xfff00fff, 52, 0xfff},
                                  {1, 0x7f, 32, 0x15},
                                  {2, UINT32_MAX, 31, 0xff}};
  for (const auto &[ind, mask, shift, ind_mask] : maps)
    for (const uint32_t width : {32U, 64U, 16U, 0x120U})
      for (const uint32_t nrows : {0U, 1U, 64U, 65U, 200U})
        for (const uint32_t start : {0U, 1U, 64U, nrows, nrows + 70})
          for (const bool filtered : {false, true}) {
            SCOPED_TRACE(testing::Message() << "mask " << mask << " width " << width << " rows " << start << " to "
                                            << nrows << " filtered " << filtered);
            vorn_enc_ctx map = {};
            vorn_add_encoding_type_bloom(&map, static_cast<uint8_t>(ind), mask, shift, ind_mask);
            check(map, width, nrows, start, filtered);
            ASSERT_FALSE(HasFailure());
          }
}

VORN_TEST_ALL_IMPLEMENTATIONS(bloom_test);

} // namespace
