// Bursts: one bit for each run becomes one bit for each row.  The kernels of every implementation against a model.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/implementation.hpp"
#include "tests/support/random.hpp"
#include "tests/support/slots.hpp"
#include "tests/support/stored.hpp"

namespace {

using vorn_test::each, vorn_test::each_from;

vorn_test::slot burst_slot(uint64_t minor_type) { return {static_cast<uint32_t>(minor_type << 5 | VORN_OPC_BURST)}; }

// A run-length encoded vector.  Its arrays end at unreadable pages.
struct runs {
  runs(const std::vector<uint32_t> &lengths, unsigned width, bool indexed)
      // With a CLA the lengths are never read.
      : lens(indexed ? std::vector<uint32_t>(lengths.size(), 0xa5a5) : lengths, width),
        cla_memory(4 * (lengths.size() + 1)), nruns(static_cast<uint32_t>(lengths.size())) {
    uint8_t *cla = cla_memory.last(4 * (lengths.size() + 1));
    for (size_t i = 0; i <= lengths.size(); ++i) {
      vorn_test::store_big(cla + 4 * i, nrows, 4);
      nrows += i < lengths.size() ? lengths[i] : 0;
    }
    vorn_build_encoding_type_dict(&enc, 8, nullptr, nullptr, nullptr, 0, 0, 0);
    vorn_add_encoding_type_rle(&enc, lens.data(), indexed ? cla : nullptr, static_cast<uint8_t>(width), nruns, nullptr);
  }
  size_t words() const { return (nruns + 63) / 64; }

  vorn_test::run_length_array lens;
  vorn_test::guarded cla_memory;
  uint32_t nruns;
  uint32_t nrows = 0;
  vorn_enc_ctx enc = {};
};

class burst_kernels : public vorn_test::implementation_test {
protected:
  // Runs the kernel over the selected runs and compares the result row by row.
  void check(const std::vector<uint32_t> &lengths, const std::vector<bool> &selected, unsigned width, bool indexed,
             uint32_t spare_rows) {
    runs source(lengths, width, indexed);
    std::vector<uint64_t> per_run(source.words() + 1, ~uint64_t{0}); // stray bits after the last run
    const uint32_t nrows = source.nrows + spare_rows;
    std::vector<bool> rows;
    for (size_t run = 0; run < lengths.size(); ++run) {
      if (!selected[run])
        per_run[run / 64] &= ~(uint64_t{1} << run % 64);
      rows.insert(rows.end(), lengths[run], selected[run]);
    }
    rows.resize(nrows);
    const auto [words, count] = vorn_model::select(nrows, nullptr, nullptr, [&](uint32_t row) { return rows[row]; });
    vorn_test::guarded output(words.size() * 8);
    uint64_t *out = output.last_words(words.size());
    vorn_cv res = vorn_test::result_of(out, nrows), src = vorn_test::vector_of(nullptr, source.enc, 0);
    vorn_aux aux = vorn_test::selective_by(per_run.data(), false);
    const uint32_t code = burst_slot(source.enc.vorn_enc_ctx_minor_type).run(res, src, aux);
    const auto where = [&] {
      return testing::Message() << width << " bits, indexed " << indexed << ", runs " << lengths.size() << ", rows "
                                << nrows;
    };
    ASSERT_EQ(std::vector<uint64_t>(out, out + words.size()), words) << where();
    ASSERT_EQ(res.vorn_cv_popc, count) << where();
    ASSERT_EQ(code, count == 0 ? uint32_t{VORN_RESULT_EMPTY} : uint32_t{VORN_RESULT_DONE}) << where();
    ASSERT_TRUE(output.intact(words.size() * 8)) << where();
    ASSERT_EQ(aux.vorn_aux_op_bits[1], 0) << "a burst does not count as selective";
  }

  void check_all_forms(const std::vector<uint32_t> &lengths, const std::vector<bool> &selected) {
    for (const unsigned width : each({8U, 16U}))
      for (const bool indexed : each({false, true}))
        for (const uint32_t spare : each({0U, 70U}))
          ASSERT_NO_FATAL_FAILURE(check(lengths, selected, width, indexed, spare));
  }
};

TEST_P(burst_kernels, expand_runs_at_every_border) {
  // A run of every length at every offset in a word, selected alone and with both neighbours.
  for (const uint32_t before : each_from(0U, 65U))
    for (const uint32_t length : each({0U, 1U, 2U, 62U, 63U, 64U, 65U, 127U, 128U, 200U})) {
      ASSERT_NO_FATAL_FAILURE(check_all_forms({before, length, 3}, {false, true, false}));
      ASSERT_NO_FATAL_FAILURE(check_all_forms({before, length, 3}, {true, true, true}));
    }
}

TEST_P(burst_kernels, expand_random_runs) {
  vorn_test::random_source random(11);
  for (const size_t nruns : each({0U, 1U, 2U, 63U, 64U, 65U, 300U}))
    for (const uint32_t longest : each({1U, 5U, 40U, 255U}))
      for (const unsigned per_cent : each({0U, 3U, 50U, 100U})) {
        std::vector<uint32_t> lengths(nruns);
        std::vector<bool> selected(nruns);
        for (size_t run = 0; run < nruns; ++run) {
          lengths[run] = static_cast<uint32_t>(random.below(longest + 1));
          selected[run] = random.below(100) < per_cent;
        }
        ASSERT_NO_FATAL_FAILURE(check_all_forms(lengths, selected));
      }
}

TEST_P(burst_kernels, read_16_bit_lengths_as_big_endian_numbers) {
  for (const bool indexed : {false, true})
    ASSERT_NO_FATAL_FAILURE(check({0x0100, 0xfffe, 0x0102}, {true, false, true}, 16, indexed, 0));
}

TEST_P(burst_kernels, stop_where_their_preconditions_do_not_hold) {
  for (const uint32_t minor : {27U, 31U, 59U, 63U}) {
    const vorn_test::slot slot = burst_slot(minor);
    uint64_t words[1] = {};
    vorn_enc_ctx enc = {};
    enc.vorn_enc_ctx_flags = VORN_DICT;
    vorn_cv res = vorn_test::result_of(words, 0), src = vorn_test::vector_of(nullptr, enc, 0);
    vorn_aux aux = vorn_test::selective_by(words, false);
    const std::string prefix = std::string("generic/vornc_generic:[0-9]+: ") + slot.name() + ": Assertion `";
    EXPECT_DEATH(slot.run(res, src, aux),
                 prefix + R"(\(\(\(\(\(src\)->vorn_cv_encoding_context\)\)->vorn_enc_ctx_flags\) & \(VORN_RLE\)\)' )");
    enc.vorn_enc_ctx_flags |= VORN_RLE;
    EXPECT_DEATH(slot.run(res, src, aux), prefix + "vorn_bv_res != vorn_bv_aux' ");
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(burst_kernels);

} // namespace
