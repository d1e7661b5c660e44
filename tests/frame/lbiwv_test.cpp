// The bit-vector operations that kernels call, in every implementation, against vectors read bit by bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "tests/support/guarded.hpp"
#include "tests/support/implementation.hpp"

namespace {

constexpr uint64_t end_mark = UINT64_MAX;

bool bit(const uint64_t *words, uint64_t index) { return words[index / 64] >> index % 64 & 1; }

// The set bits from start to nbits, in order.
std::vector<uint64_t> ones_of(const uint64_t *words, uint64_t nbits, uint64_t start) {
  std::vector<uint64_t> ones;
  for (uint64_t index = start; index < nbits; ++index)
    if (bit(words, index))
      ones.push_back(index);
  return ones;
}

class lbiwv_test : public vorn_test::implementation_test {
protected:
  // The words of a vector, dense, sparse or in between, with stray bits behind nbits in the last one.
  void randomize(uint64_t *words, uint64_t nwords) {
    const auto density = random() % 3;
    for (uint64_t i = 0; i < nwords; ++i)
      words[i] = density == 0   ? random()
                 : density == 1 ? random() & random() & random() & random()
                                : random() | random();
  }

  uint64_t all_and(uint64_t *dst, uint32_t *popc, const uint64_t *a, const uint64_t *b, uint64_t nbits) {
    vorn_global_ctx.vorn_lbiwvand_dydi(dst, popc, a, b, nbits);
    return dst[(nbits - 1) / 64];
  }

  vorn_lbiwv_ictx started(const uint64_t *bv, uint64_t nbits, uint8_t mode, uint64_t start) {
    vorn_lbiwv_ictx iterator;
    std::memset(&iterator, 0xff, sizeof iterator);
    vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&iterator, bv, nbits, mode, start);
    return iterator;
  }

  uint64_t next(vorn_lbiwv_ictx &iterator) { return vorn_global_ctx.vorn_lbiwviter_dydi(&iterator); }

  std::vector<uint64_t> rest_of(vorn_lbiwv_ictx &iterator) {
    std::vector<uint64_t> indexes;
    for (uint64_t index = next(iterator); index != end_mark && indexes.size() < 10000; index = next(iterator))
      indexes.push_back(index);
    return indexes;
  }

  std::mt19937_64 random{20240229};
};

using indexes = std::vector<uint64_t>;

} // namespace

TEST(lbiwv, the_generic_record_holds_the_library_s_functions) {
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwvand_dydi, vorn_lbiwvand_dydi);
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi, vorn_lbiwv_ictx_ini2_dydi);
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwviter_dydi, vorn_lbiwviter_dydi);
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwvones_dydi, vorn_lbiwvones_dydi);
}

// More steps of 64 bits than a 32-bit index has, which must not come round to the vector again.
TEST(lbiwv, exhausted_iterator_stays_at_its_end_for_ever) {
  vorn_test::guarded room(8);
  uint64_t *const bv = room.last_words(1);
  bv[0] = 1;
  vorn_lbiwv_ictx iterator;
  vorn_lbiwv_ictx_ini2_dydi(&iterator, bv, 64, 0, 1);
  uint64_t steps = 0;
  while (steps < (UINT64_C(1) << 26) + 10 && vorn_lbiwviter_dydi(&iterator) == end_mark)
    ++steps;
  EXPECT_EQ(steps, (UINT64_C(1) << 26) + 10);
}

TEST_P(lbiwv_test, and_cuts_the_last_word_at_the_last_bit) {
  uint32_t popc = 99;
  const uint64_t ones[2] = {UINT64_MAX, UINT64_MAX};
  uint64_t dst[2] = {7, 7};
  EXPECT_EQ(all_and(dst, &popc, ones, ones, 64), UINT64_MAX);
  EXPECT_EQ(popc, 64U);
  EXPECT_EQ(dst[1], 7U);
  EXPECT_EQ(all_and(dst, &popc, ones, ones, 65), 1U);
  EXPECT_EQ(popc, 65U);
  const uint64_t all_but_the_first[2] = {UINT64_MAX, UINT64_MAX - 1};
  EXPECT_EQ(all_and(dst, &popc, ones, all_but_the_first, 65), 0U);
  EXPECT_EQ(popc, 64U);
  EXPECT_EQ(all_and(dst, &popc, ones, ones, 1), 1U);
  EXPECT_EQ(popc, 1U);
  EXPECT_EQ(all_and(dst, &popc, ones, ones, 63), UINT64_MAX >> 1);
  EXPECT_EQ(popc, 63U);
}

TEST_P(lbiwv_test, and_of_any_vectors_in_place_or_not) {
  vorn_test::guarded room_of_a(8 * 80), room_of_b(8 * 80), room_apart(8 * 80);
  for (unsigned round = 0; round < 2000; ++round) {
    const uint64_t nbits = 1 + random() % (round % 50 == 0 ? 5000 : 300);
    const uint64_t nwords = (nbits + 63) / 64;
    uint64_t *const a = room_of_a.last_words(nwords);
    uint64_t *const b = room_of_b.last_words(nwords);
    uint64_t *const apart = room_apart.last_words(nwords);
    randomize(a, nwords);
    randomize(b, nwords);
    std::vector<uint64_t> expected(nwords);
    uint32_t ones = 0;
    for (uint64_t index = 0; index < nbits; ++index)
      if (bit(a, index) && bit(b, index)) {
        expected[index / 64] |= uint64_t{1} << index % 64;
        ++ones;
      }
    uint64_t *const dst = round % 3 == 0 ? a : round % 3 == 1 ? b : apart;
    uint32_t popc = UINT32_MAX;
    const bool counted = round % 4 != 0;
    all_and(dst, counted ? &popc : nullptr, a, b, nbits);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), dst)) << nbits;
    ASSERT_EQ(popc, counted ? ones : UINT32_MAX) << nbits;
    for (const vorn_test::guarded *room : {&room_of_a, &room_of_b, &room_apart})
      ASSERT_TRUE(room->intact(8 * nwords));
  }
}

TEST_P(lbiwv_test, iterator_starts_in_the_word_of_the_start) {
  const uint64_t bv[3] = {1 << 3, 1 << 6 | 1 << 5, 1 << 2}; // 3, 69, 70, 130
  vorn_lbiwv_ictx iterator = started(bv, UINT64_C(0xabc00000083), 0, 70);
  EXPECT_EQ(iterator.vorn_lbiwv_ictx_next, bv + 2);
  EXPECT_EQ(iterator.vorn_lbiwv_ictx_nbits, 131); // the low half
  EXPECT_EQ(iterator.vorn_lbiwv_ictx_base, 64);
  EXPECT_EQ(iterator.vorn_lbiwv_ictx_offset, 6U);
  EXPECT_EQ(iterator.vorn_lbiwv_ictx_word, uint64_t{1} << 6);
  EXPECT_EQ(next(iterator), 70U);
  EXPECT_EQ(iterator.vorn_lbiwv_ictx_word, 0U);
  EXPECT_EQ(iterator.vorn_lbiwv_ictx_offset, 6U);
  EXPECT_EQ(next(iterator), 130U);
  EXPECT_EQ(iterator.vorn_lbiwv_ictx_base, 128);
  EXPECT_EQ(iterator.vorn_lbiwv_ictx_offset, 0U);
  EXPECT_EQ(iterator.vorn_lbiwv_ictx_next, bv + 3);
  for (unsigned again = 0; again < 5; ++again)
    EXPECT_EQ(next(iterator), end_mark);
}

TEST_P(lbiwv_test, iterator_ends_at_the_last_bit_whatever_follows) {
  vorn_test::guarded room(16);
  uint64_t *const bv = room.last_words(2);
  bv[0] = 0;
  bv[1] = 0x87; // 64, and stray bits in the vector of 65
  vorn_lbiwv_ictx iterator = started(bv, 65, 0, 0);
  EXPECT_EQ(next(iterator), 64U);
  for (unsigned again = 0; again < 10; ++again)
    EXPECT_EQ(next(iterator), end_mark);
  uint32_t out[4] = {7, 7, 7, 7};
  iterator = started(bv, 65, 0, 0);
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, out, 4), 1U);
  EXPECT_EQ(out[0], 64U);
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, out, 4), 0U);

  // A start on the last bit's heels, in the word that holds it.
  for (const uint64_t start : {65U, 66U, 127U}) {
    iterator = started(bv, 65, 0, start);
    EXPECT_EQ(next(iterator), end_mark) << start;
    EXPECT_EQ(next(iterator), end_mark) << start;
  }
}

TEST_P(lbiwv_test, iterator_over_no_bits_loads_nothing) {
  vorn_test::guarded room(8);
  const uint64_t *const nothing = room.last_words(0); // may not be read
  vorn_lbiwv_ictx iterator = started(nothing, 0, 0, 0);
  EXPECT_EQ(next(iterator), end_mark);
  EXPECT_EQ(next(iterator), end_mark);
  uint32_t out = 7;
  iterator = started(nothing, 0, 1, 0);
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, &out, 1), 0U);
  EXPECT_EQ(out, 7U);
}

TEST_P(lbiwv_test, mode_1_alone_complements_the_first_word_alone) {
  const uint64_t bv[2] = {~(uint64_t{1} << 5 | uint64_t{1} << 60), 1 << 9};
  const indexes clear = {5, 60, 73}, from_6 = {60, 73};
  vorn_lbiwv_ictx iterator = started(bv, 128, 1, 0);
  EXPECT_EQ(rest_of(iterator), clear);
  iterator = started(bv, 128, 1, 6);
  EXPECT_EQ(rest_of(iterator), from_6);
  for (const uint8_t mode : {uint8_t{0}, uint8_t{2}, uint8_t{3}, uint8_t{0xff}}) {
    iterator = started(bv, 128, mode, 0);
    EXPECT_EQ(rest_of(iterator), ones_of(bv, 128, 0)) << int{mode};
  }
  // In a vector that ends in the first word, the complement's bits behind it are stray.
  iterator = started(bv, 6, 1, 0);
  EXPECT_EQ(rest_of(iterator), indexes{5});
}

TEST_P(lbiwv_test, ones_stop_at_the_room_and_resume) {
  const std::vector<uint64_t> bv(4, UINT64_MAX);
  std::vector<uint32_t> out(257, 777);
  vorn_lbiwv_ictx iterator = started(bv.data(), 256, 0, 0);
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, nullptr, 0), 0U);
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, out.data(), 256), 256U);
  for (uint32_t i = 0; i < 256; ++i)
    EXPECT_EQ(out[i], i);
  EXPECT_EQ(out[256], 777U);
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, out.data(), 256), 0U);
  EXPECT_EQ(next(iterator), end_mark);

  // Single steps and batches go on where the other stopped.
  iterator = started(bv.data(), 70, 0, 60);
  EXPECT_EQ(next(iterator), 60U);
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, out.data(), 8), 8U);
  EXPECT_EQ(out[0], 61U);
  EXPECT_EQ(out[7], 68U);
  EXPECT_EQ(next(iterator), 69U);
  EXPECT_EQ(vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, out.data(), 8), 0U);
}

TEST_P(lbiwv_test, iteration_of_any_vector_by_steps_and_batches) {
  vorn_test::guarded room_of_bits(8 * 80), room_of_rows(4 * 100);
  for (unsigned round = 0; round < 2000; ++round) {
    const uint64_t nbits = 1 + random() % (round % 50 == 0 ? 5000 : 300);
    const uint64_t nwords = (nbits + 63) / 64;
    uint64_t *const bv = room_of_bits.last_words(nwords);
    randomize(bv, nwords);
    const uint64_t start = round % 2 == 0 ? 0 : random() % nbits;
    const indexes expected = ones_of(bv, nbits, start);

    vorn_lbiwv_ictx iterator = started(bv, nbits, 0, start);
    ASSERT_EQ(rest_of(iterator), expected) << nbits << ' ' << start;

    iterator = started(bv, nbits, 0, start);
    indexes fetched;
    while (fetched.size() <= expected.size()) { // one batch more than needed would be a fault
      const auto room = static_cast<uint32_t>(1 + random() % 100);
      auto *const rows = reinterpret_cast<uint32_t *>(room_of_rows.last(4 * room));
      std::fill_n(rows, room, 0xeeeeeeeeU);
      const uint32_t count = vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, rows, room);
      ASSERT_LE(count, room);
      fetched.insert(fetched.end(), rows, rows + count);
      ASSERT_TRUE(std::all_of(rows + count, rows + room, [](uint32_t row) { return row == 0xeeeeeeee; }));
      ASSERT_TRUE(room_of_rows.intact(4 * room));
      if (count < room)
        break;
    }
    ASSERT_EQ(fetched, expected) << nbits << ' ' << start;
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(lbiwv_test);
