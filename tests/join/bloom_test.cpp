// The bloom test against a model that tests one row after the other.
#include "tests/join/calls.hpp"

namespace {

using namespace vorn_test;

using bloom_test = join_test;

TEST_P(bloom_test, passes_the_rows_whose_bits_are_set) {
  for (const unsigned turn : each_from(0U, 2999U)) {
    SCOPED_TRACE(turn);
    if (HasFailure())
      break;
    if (!random.takes_case())
      continue;
    const uint32_t ind = one_of(0, 0, 1, 0x80), mask = one_of(0, 0x3ff, 0x5255, ind == 0 ? 0xffff : 0x7f00fff);
    const uint32_t shift = one_of(14, 20, 46, 63), page_mask = ind == 0 ? mask : one_of(0, 0x15, 0x3ff);
    vorn_enc_ctx map = {};
    vorn_add_encoding_type_bloom(&map, static_cast<uint8_t>(ind), mask, shift, ind == 0 ? 1 : page_mask);
    const auto bits = values(3, page_mask / 8 + 1); // of the map, or of three pages that repeat
    const stored_rows stored[] = {{VORN_FIXED, {bits[0]}}, {VORN_FIXED, {bits[1]}}, {VORN_FIXED, {bits[2]}}};
    std::vector<void *> pages;
    for (uint32_t page = 0; page <= mask >> shift % 32; ++page)
      pages.push_back(stored[page % 3].cv.vorn_cv_vals);
    vorn_cv filter = vector_of(nullptr, map, 0);
    filter.vorn_cv_bv = static_cast<uint64_t *>(ind == 0 ? stored[0].cv.vorn_cv_vals : pages.data());

    const uint32_t width = one_of(32, 64, 16, 0x120), nrows = one_of(0, 1, 63, 64, 65, 200);
    const auto hashes = values(nrows, width % 256 == 32 ? 4 : 8);
    stored_rows src(VORN_HASH_VALUES, hashes, width);
    std::vector<uint64_t> bv(nrows / 64 + 2), rows((nrows + 63) / 64);
    std::ranges::generate(bv, [&] { return random() & random() & random(); });
    std::ranges::generate(rows, [&] { return random.below(4) ? random() : 0; }); // also bits after the last row
    vorn_aux aux = selective_by(random.below(2) ? rows.data() : nullptr), after = aux;
    aux.vorn_aux_flags = after.vorn_aux_flags = static_cast<uint8_t>(random()); // without effect
    aux.vorn_aux_start_row = after.vorn_aux_start_row = one_of(0, 1, 64, nrows, nrows + 70);
    after.vorn_aux_op_bits[1] = aux.vorn_aux_filter_bv != nullptr ? 0x20 : 0; // a filter took effect

    std::vector<uint64_t> expected = bv;
    std::vector<uint32_t> passed;
    for (uint32_t row = aux.vorn_aux_start_row; row < nrows; ++row) {
      uint32_t hash;
      std::memcpy(&hash, hashes[row].data() + hashes[row].size() - 4, sizeof hash);
      const uint32_t masked = __builtin_bswap32(hash) & mask, bit = masked & page_mask;
      const std::string &page = bits[ind == 0 ? 0 : (masked >> shift % 32) % 3];
      if ((aux.vorn_aux_filter_bv == nullptr || rows[row / 64] >> row % 64 & 1) && (page[bit / 8] >> bit % 8 & 1)) {
        passed.push_back(row);
        expected[row / 64] |= uint64_t{1} << row % 64;
      }
    }
    vorn_cv res = result_of(bv.data(), 77);
    uint32_t range[] = {1, 2};
    res.vorn_cv_vals = range;
    EXPECT_EQ(vorn_global_ctx.vorn_bloom_dydi(&res, &src.cv, &filter, &aux),
              passed.empty() ? uint32_t{VORN_RESULT_EMPTY} : done);
    src.enc.vorn_enc_ctx_flags = ~uint32_t{VORN_HASH_VALUES};
    EXPECT_EQ(vorn_global_ctx.vorn_bloom_dydi(&res, &src.cv, &filter, &aux), refused);
    EXPECT_TRUE(same(aux, after) && bv == expected && res.vorn_cv_popc == passed.size());
    passed.resize(std::max<size_t>(passed.size(), 1), UINT32_MAX); // the range of no rows
    EXPECT_TRUE(range[0] == passed.front() && range[1] == passed.back());
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(bloom_test);

} // namespace
