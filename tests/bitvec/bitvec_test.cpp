// Both families of bit vectors, in every implementation, against vectors of single bits.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "tests/bitvec/family.hpp"
#include "tests/support/random.hpp"

namespace {

using vorn_test::bits;
using vorn_test::fields;
using vorn_test::iterator;
using vorn_test::placed_vector;
using vorn_test::pointer;
using positions = std::vector<uint64_t>;

// The meaning of the combinations for one bit of each source.
constexpr bool (*models[])(bool, bool, bool) = {[](bool a, bool, bool) { return !a; },
                                                [](bool a, bool b, bool) { return a && b; },
                                                [](bool a, bool b, bool) { return a || b; },
                                                [](bool a, bool b, bool) { return a != b; },
                                                [](bool a, bool b, bool) { return !a && b; },
                                                [](bool a, bool b, bool c) { return a && b && c; },
                                                [](bool a, bool b, bool c) { return a || b || c; },
                                                [](bool a, bool b, bool c) { return (a != b) != c; }};

class bitvec_test : public testing::TestWithParam<std::tuple<vorn_test::implementation, bool>> {
protected:
  void SetUp() override {
    const auto &[implementation, of_words] = GetParam();
    if (!vorn_test::runs_here(implementation))
      GTEST_SKIP() << implementation.name << " needs instructions that this processor lacks";
    ASSERT_NO_FATAL_FAILURE(vorn_test::put_in_force(implementation, env));
    ops = vorn_test::family_in_force(of_words);
    offsets = of_words ? std::vector<unsigned>{0, vorn_test::at_end}
                       : std::vector<unsigned>{0, 1, 2, 3, 4, 5, 6, 7, vorn_test::at_end};
  }
  void TearDown() override { vorn_global_ctx = vorn_test::initial_global_ctx; }

  iterator started(pointer bv, uint64_t nbits, uint8_t mode, uint64_t start) {
    iterator it = {};
    std::memset(&it, 0xff, sizeof it);
    ops.start(it, bv, nbits, mode, start);
    return it;
  }

  fields fields_of(const iterator &it) {
    const auto taken_apart = [](const auto &context) {
      const auto &[next, nbits, base, offset, word] = context;
      return fields{next, nbits, base, offset, word};
    };
    return ops.unit == 8 ? taken_apart(it.of_bytes) : taken_apart(it.of_words);
  }

  // Every operation delivers the end.  After the first 65 calls the iterator no longer changes, so it stays at its end.
  void expect_exhausted(iterator &it) {
    uint32_t row = 77;
    for (unsigned again = 0; again < 70; ++again) { // after one word there are no more stray bits
      const iterator before = it;
      ASSERT_EQ(ops.iter(it), ops.end);
      if (again < 65)
        continue;
      ASSERT_EQ(ops.iter_clr(it), ops.end);
      ASSERT_EQ(ops.ones(it, &row, 1), 0U);
      ASSERT_EQ(row, 77U);
      ASSERT_EQ(std::memcmp(&before, &it, sizeof it), 0);
    }
  }

  vorn_test::family ops;
  std::vector<unsigned> offsets;
  vorn_host::environment env;
  vorn_test::random_source random{20240229};
};

} // namespace

TEST(bitvec, kernels_call_what_the_generic_record_holds) {
  EXPECT_EQ(vorn_test::initial_global_ctx.vorn_lbiwvand_dydi, vorn_lbiwvand_dydi);
  EXPECT_EQ(vorn_test::initial_global_ctx.vorn_lbiwv_ictx_ini2_dydi, vorn_lbiwv_ictx_ini2_dydi);
  EXPECT_EQ(vorn_test::initial_global_ctx.vorn_lbiwviter_dydi, vorn_lbiwviter_dydi);
  EXPECT_EQ(vorn_test::initial_global_ctx.vorn_lbiwvones_dydi, vorn_lbiwvones_dydi);
}

// For 0 to 130 bits and some larger numbers, into each source and into another vector, with and without a count.
TEST_P(bitvec_test, combinations_and_counts) {
  vorn_test::sources s;
  placed_vector apart;
  unsigned round = 0;
  for (uint64_t nbits = 0; nbits < 5000; nbits += nbits < 130 ? 1 : nbits / 8 * 3 + 1)
    for (size_t first = 0; first < offsets.size(); ++first)
      for (size_t op = 0; op < std::size(models); ++op)
        for (size_t target = 0; target <= ops.combinations[op].nsources; ++target) {
          for (size_t k = 0; k < 3; ++k) { // the vectors of a call lie at different offsets
            s[k].place(offsets[(first + 3 * k) % offsets.size()], ops.size(nbits));
            random.fill(s[k]);
          }
          apart.place(offsets[(first + 5) % offsets.size()], ops.size(nbits));
          const placed_vector &dst = target == ops.combinations[op].nsources ? apart : s[target];
          bits expected;
          for (uint64_t i = 0; i < nbits; ++i)
            expected.push_back(models[op](s[0][i], s[1][i], s[2][i]));
          const auto count = static_cast<uint32_t>(std::ranges::count(expected, true));
          expected.resize(8 * ops.size(nbits)); // zeros

          uint32_t popc = 99;
          const bool counted = ++round % 3 != 0;
          ops.combinations[op].run(dst, counted ? &popc : nullptr, s, nbits);
          ASSERT_EQ(dst.all(), expected) << "operation " << op << " over " << nbits;
          ASSERT_EQ(popc, counted ? count : 99U) << "operation " << op << " over " << nbits;
          ASSERT_TRUE(s[0].intact() && s[1].intact() && s[2].intact() && apart.intact()) << nbits;

          if (8 * ops.size(nbits) > nbits)
            dst.end()[-1] |= 0x80; // a stray bit
          ops.popcnt(&popc, dst, nbits);
          ASSERT_EQ(popc, count) << nbits;
        }
  ops.popcnt(nullptr, pointer{nullptr}, 100); // reads nothing
}

TEST_P(bitvec_test, ranges) {
  placed_vector v;
  for (const unsigned offset : offsets)
    for (uint64_t first = 0; first < 100; ++first)
      for (const uint64_t length :
           {1U, 2U, 3U, 5U, 7U, 8U, 9U, 10U, 15U, 16U, 17U, 18U, 24U, 25U, 33U, 63U, 64U, 65U, 100U, 1000U})
        for (const bool value : {true, false}) {
          const uint64_t last = first + length - 1;
          v.place(offset, ops.size(last + 1));
          random.fill(v);
          bits expected = v.all();
          std::fill_n(expected.begin() + static_cast<ptrdiff_t>(first), length, value);
          (value ? ops.set_range : ops.clr_range)(v, first, last);
          ASSERT_EQ(v.all(), expected) << first << " to " << last;
          ASSERT_TRUE(v.intact()) << first << " to " << last;
        }
}

// From every start, also after the last bit, over set bits and over clear bits, one at a time and in batches of every
// size, with and without single steps between the batches.
TEST_P(bitvec_test, iteration) {
  placed_vector v;
  vorn_test::guarded room(4 * 300);
  for (const uint64_t nbits :
       {0U, 1U, 3U, 7U, 8U, 9U, 15U, 31U, 56U, 57U, 63U, 64U, 65U, 71U, 72U, 73U, 127U, 128U, 129U, 200U})
    for (const unsigned offset : offsets)
      for (uint64_t start = 0; start <= 8 * ops.size(nbits); ++start) {
        v.place(offset, ops.size(nbits));
        random.fill(v);
        positions set, clear;
        for (uint64_t i = start; i < nbits; ++i)
          (v[i] ? set : clear).push_back(i);
        const std::string shown = std::to_string(nbits) + " bits from " + std::to_string(start);

        iterator it = started(v, nbits, static_cast<uint8_t>(start % 2 * 2), start);
        for (const uint64_t index : set)
          ASSERT_EQ(ops.iter(it), index) << shown;
        ASSERT_NO_FATAL_FAILURE(expect_exhausted(it)) << shown;
        it = started(v, nbits, 1, start);
        for (const uint64_t index : clear)
          ASSERT_EQ(ops.iter_clr(it), index) << shown;
        ASSERT_EQ(ops.iter_clr(it), ops.end) << shown;
        ASSERT_NO_FATAL_FAILURE(expect_exhausted(it)) << shown;

        const uint32_t batch = 1 + static_cast<uint32_t>(start) % static_cast<uint32_t>(nbits + 2);
        it = started(v, nbits, 0, start);
        ASSERT_EQ(ops.ones(it, nullptr, 0), 0U);
        size_t done = 0;
        for (uint32_t fetched = batch; fetched == batch;) {
          auto *const rows = reinterpret_cast<uint32_t *>(room.last(4 * batch));
          std::fill_n(rows, batch, 0xeeeeeeeeU);
          fetched = ops.ones(it, rows, batch);
          ASSERT_EQ(fetched, std::min<size_t>(batch, set.size() - done)) << shown;
          for (uint32_t i = 0; i < batch; ++i)
            ASSERT_EQ(rows[i], i < fetched ? set[done + i] : 0xeeeeeeeeU) << shown << " by " << batch;
          done += fetched;
          if (start % 3 == 0 && done < set.size()) {
            ASSERT_EQ(ops.iter(it), set[done++]) << shown << " by " << batch;
          }
        }
        ASSERT_NO_FATAL_FAILURE(expect_exhausted(it)) << shown;
        ASSERT_TRUE(room.intact(4 * batch));
      }
}

// The first word is the whole word around the start.  For bytes it is an aligned group, so it may begin before the
// vector and end after it.  Of the next word, only the stored bytes are read.
TEST_P(bitvec_test, fields_of_the_iterator) {
  placed_vector v;
  for (const unsigned where : offsets)
    for (const uint64_t start : {0U, 1U, 7U, 8U, 37U, 63U, 64U, 70U, 90U})
      for (const uint8_t mode : {uint8_t{0}, uint8_t{1}, uint8_t{2}, uint8_t{0xff}}) {
        const bool clear = mode == 1;
        v.place(where, ops.size(91) + (where == vorn_test::at_end ? 0 : 8)); // the bytes after the vector are readable
        random.fill(v);
        const uint8_t *word = v.begin() + start / ops.unit * ops.unit / 8;
        word -= reinterpret_cast<uintptr_t>(word) % 8;
        const int64_t base = 8 * (word - v.begin());
        const uint64_t offset = start - static_cast<uint64_t>(base);
        uint64_t first = 0, second = 0;
        for (uint64_t k = offset; k < 64; ++k)
          first |= uint64_t{(word[k / 8] >> k % 8 & 1) != clear} << k;
        for (uint64_t k = 0, index = start - offset + 64; k < 64; ++k, ++index)
          second |= uint64_t{(index < 8 * ops.size(91) && v[index]) != clear} << k;

        iterator it = started(v, UINT64_C(0xabc0000005b), mode, start); // the low half counts
        ASSERT_EQ(fields_of(it), (fields{word + 8, 91, base, offset, first}));
        for (int taken = std::popcount(first); taken >= 0; --taken) {
          ASSERT_EQ(fields_of(it).word, first);
          first &= first - 1;
          clear ? ops.iter_clr(it) : ops.iter(it);
        }
        if (base + 64 >= 91) {
          ASSERT_EQ(fields_of(it), (fields{word + 8, 91, base + 64, offset, 0}));
        } else if (second != 0) {
          ASSERT_EQ(fields_of(it), (fields{word + 16, 91, base + 64, 0, second & (second - 1)}));
        }
      }
}

// For the address sanitizer: only the read of a whole group may go past the allocated bytes.
TEST_P(bitvec_test, three_clear_bits_of_the_heap) {
  std::vector<uint8_t> bv(ops.size(3));
  iterator it = started(pointer{bv.data()}, 3, 1, 0);
  for (const uint64_t index : {uint64_t{0}, uint64_t{1}, uint64_t{2}, ops.end, ops.end})
    EXPECT_EQ(ops.iter_clr(it), index);
}

// The end of the longest vector.  The position of the next word would not fit in the context.
TEST_P(bitvec_test, almost_two_to_the_31_bits) {
  constexpr uint64_t nbits = (UINT64_C(1) << 31) - 1;
  vorn_test::guarded room(nbits / 8 + 100);
  for (const uint64_t fewer : {0U, 7U, 40U, 63U, 64U})
    for (const bool set : {true, false}) {
      const size_t size = ops.size(nbits - fewer);
      uint8_t *const begin = room.last(size);
      const pointer bv{begin};
      std::fill_n(begin + size - 100, 100, uint8_t{0});
      iterator it = started(bv, nbits - fewer, set ? 0 : 1, nbits - fewer - 100);
      if (set)
        ops.set_range(bv, nbits - fewer - 1, nbits - fewer - 1);
      uint64_t last = 0;
      for (uint64_t next = 0; next != ops.end; next = set ? ops.iter(it) : ops.iter_clr(it))
        last = next;
      EXPECT_EQ(last, nbits - fewer - 1);
      EXPECT_NO_FATAL_FAILURE(expect_exhausted(it));
    }
}

TEST_P(bitvec_test, run_placeholders_find_nothing) {
  EXPECT_EQ(ops.run(1, 2), ops.end);
  EXPECT_EQ(ops.runs(1, 2, 3, 4), 0U);
}

INSTANTIATE_TEST_SUITE_P(each, bitvec_test,
                         testing::Combine(testing::ValuesIn(vorn_test::implementations), testing::Bool()),
                         [](const auto &each) {
                           return std::string(std::get<0>(each.param).name) +
                                  (std::get<1>(each.param) ? "_words" : "_bytes");
                         });
