// Group keys against a model that combines the codes of one row after the other.
#include <deque>

#include "tests/support/column.hpp"
#include "tests/support/kernel_test.hpp"

namespace {

using namespace vorn_test;

struct groupkey_test : kernel_test {
  void check(bool multiplied, uint32_t ncols, uint32_t nrows, uint32_t start, bool filtered, uint32_t batch) {
    const size_t words = (nrows + 63) / 64;
    guarded_bytes filter(below(8) == 0 ? std::string(8 * words, 0) : value(8 * words)); // also bits after the last row
    std::vector<uint32_t> rows, widths, symbols;
    for (uint32_t row = start; row < nrows; ++row)
      if (!filtered || (filter.as<uint64_t>()[row / 64] >> row % 64 & 1))
        rows.push_back(row);

    // The first column without a dictionary or with too many keys decides the result.  Codes may exceed the symbols.
    std::deque<column> columns;
    std::deque<void *> decompressed;
    std::vector<vorn_cv> cols;
    uint64_t space = 1;
    uint32_t code = done;
    for (uint32_t i = 0; i < ncols; ++i) {
      widths.push_back(std::array{1U, 3U, 8U, 16U, 20U, 32U}[below(ncols > 4 ? 2 : 6)]);
      symbols.push_back(i > 2 ? 1 : std::array{1U, 1U, 2U, 5U, 0xffffU, 0x10000U, 0x10001U, UINT32_MAX}[below(8)]);
      const uint32_t more = i == 0 || filtered ? 0 : below(3); // rows in addition to the rows of the first column
      column &from = columns.emplace_back(widths[i], nrows + more, i < 32 ? 8 * below(3) : 0, 1 + below(40), random);
      from.enc.vorn_enc_ctx_dict_nsyms = symbols[i];
      if (below(4) == 0) {
        const uint32_t ncodes = from.model.run_lengths ? from.enc.vorn_enc_ctx_rle_nruns : nrows + more;
        from.enc.vorn_enc_ctx_flags |= VORN_STREAM;
        from.src.vorn_cv_stream_slot = &decompressed.emplace_back(nullptr);
        from.src.vorn_cv_stream_len = (ncodes * widths[i] + 7) / 8;
      }
      if (batch == 0 && below(4) == 0) // without a batch, no code is unpacked
        widths[i] = from.enc.vorn_enc_ctx_width = 64;
      if (below(8 * ncols) == 0)
        from.enc.vorn_enc_ctx_flags &= ~uint32_t{VORN_DICT};
      cols.push_back(from.src);
      if (code != done)
        continue;
      space = multiplied ? space * symbols[i] : (widths[i] < 64 ? (space - 1) << widths[i] : 0) + symbols[i];
      code = !(from.enc.vorn_enc_ctx_flags & VORN_DICT) ? refused
             : space > UINT32_MAX                       ? uint32_t{VORN_RESULT_KEY_SPACE}
                                                        : done;
    }

    const auto exact = static_cast<uint32_t>(rows.size());
    const uint32_t capacity = std::array{0U, 1U, exact / 2, exact, exact + 9}[below(5)];
    guarded_bytes out(value(4 * capacity)), tmp(value(4 * batch));
    const std::string tmp_before = tmp.now();
    std::string expected;
    uint32_t written = 0, next = start;
    for (; code == done && batch != 0 && written < std::min(capacity, exact); ++written) {
      uint32_t key = 0;
      for (uint32_t i = 0; i < ncols; ++i)
        key = (multiplied ? key * symbols[i] : key << widths[i] % 32) + columns[i].model.row_codes[rows[written]];
      expected += bytes_of(key);
      next = rows[written] + 1;
    }
    expected += out.now().substr(4 * written);
    const bool accepted = code == done;
    if (accepted && (batch == 0 || written == capacity) && next < nrows)
      code = VORN_RESULT_OUTPUT_FULL;

    env.record = true;
    env.scratch_fill = 0xff; // no valid position in the runs
    vorn_ctx ctx = env.context();
    ctx.vorn_ctx_decompress = [](vorn_qpak_ctx *, const void *packed, void *to, uint32_t *, uint32_t size) {
      std::memcpy(to, packed, size);
      return 0U;
    };
    vorn_enc_ctx none = {};
    vorn_cv res = vector_of(out.data(), none, capacity), scratch = vector_of(tmp.data(), none, batch);
    res.vorn_cv_popc = 77;
    uint32_t nkeys = 99;
    vorn_aux aux = selective_by(filtered ? filter.as<uint64_t>() : nullptr, false), before;
    aux.vorn_aux_flags = multiplied ? VORN_AUX_MULTIPLY : 0;
    aux.vorn_aux_start_slot = start;
    aux.vorn_aux_run_idx = 77;
    aux.vorn_aux_run_end = 99;
    aux.vorn_aux_ctx = &ctx;
    std::memcpy(&before, &aux, sizeof aux);
    EXPECT_EQ(vorn_global_ctx.vorn_groupkey_dydi(&res, &nkeys, cols.data(), ncols, &scratch, &aux), code);
    EXPECT_EQ(std::tuple(res.vorn_cv_popc, nkeys),
              accepted ? std::tuple(written, static_cast<uint32_t>(space)) : std::tuple(77U, 99U));
    EXPECT_TRUE(same(aux, before) && out.now() == expected && (ncols > 1 || tmp.now() == tmp_before));
    const auto calls = env.calls();
    ASSERT_EQ(!calls.empty(), accepted);
    const std::vector<vorn_host::value> room = {uint64_t{12} * ncols, uint64_t{4}, uint64_t{0}};
    EXPECT_TRUE(!accepted || (calls[0].text == "vorn_groupkey_dydi: temp column info" && calls[0].values == room));
    EXPECT_EQ(env.outstanding_scratch(), 0U);
    env.clear_calls();
  }
};

TEST_P(groupkey_test, folds_the_codes_of_the_columns) {
  for (const uint32_t ncols : each({1U, 2U, 2U, 3U, 35U}))
    for (const uint32_t nrows : each({0U, 1U, 64U, 65U, 150U}))
      for (const uint32_t batch : each({0U, 1U, 2U, 3U, 5U, 7U, 64U, 300U}))
        for (const uint32_t start : each({0U, 0U, 1U, 63U, 64U, nrows, nrows + 70}))
          for (const int way : each_from(0, 3)) {
            if (HasFailure())
              return;
            if (!random.takes_case())
              continue;
            SCOPED_TRACE(testing::Message() << ncols << " columns of " << nrows << " rows from " << start << " by "
                                            << batch << " way " << way);
            check(way & 1, ncols, nrows, start, way & 2, batch);
          }
}

VORN_TEST_ALL_IMPLEMENTATIONS(groupkey_test);

} // namespace
