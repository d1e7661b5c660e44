// The block codec: what it encodes comes back, and no input makes the decoder leave its buffers.
#include "host/qpak_encoder.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

#include "tests/host/qpak_stream.hpp"

using namespace vorn_host;
using vorn_test::between_guards;
using vorn_test::decode;
using vorn_test::reseal;
using bytes = std::vector<uint8_t>;

namespace {

bytes random_bytes(std::mt19937_64 &random, size_t size, uint64_t symbols) {
  bytes result(size);
  for (uint8_t &byte : result)
    byte = static_cast<uint8_t>(random() % symbols);
  return result;
}

// A mix of two compressible blocks, one that is not, and a short one.
bytes sample(std::mt19937_64 &random) {
  bytes data = random_bytes(random, 2 * qpak::usual_block_size, 3);
  for (const unsigned symbols : {256U, 4U}) {
    const bytes more = random_bytes(random, symbols == 256 ? qpak::usual_block_size : 777, symbols);
    data.insert(data.end(), more.begin(), more.end());
  }
  return data;
}

} // namespace

TEST(Qpak, GivesBackWhatWasEncoded) {
  std::mt19937_64 random(1);
  for (const size_t size : {0U, 1U, 63U, 64U, 65U, 65535U, 65536U, 65537U, 1U << 20, (1U << 20) + 1})
    for (const unsigned symbols : {1U, 5U, 256U})
      for (const bool at_end : {false, true}) {
        const bytes data = random_bytes(random, size, symbols);
        const bytes stream = qpak_encode(data.data(), data.size());
        const size_t blocks = (size + 65535) / 65536;
        EXPECT_LE(stream.size(), qpak::directory_at + blocks * qpak::entry_size + size) << "grew by more than overhead";
        if (symbols == 1 && size >= 65535) {
          EXPECT_LT(stream.size(), size / 100);
        }
        const between_guards memory(stream, size, at_end); // at any address, as the sizes fall
        uint32_t length = 77;
        ASSERT_EQ(decode(memory.in, memory.out, size, length), 0u) << size << ' ' << symbols;
        EXPECT_EQ(length, size);
        EXPECT_TRUE(memory.holds(data));
        EXPECT_TRUE(memory.intact());
      }
}

TEST(Qpak, RefusesWrongMagicAndWrongSizes) {
  const bytes data(1000, 7);
  const bytes good = qpak_encode(data.data(), data.size());
  const between_guards memory(good, 1001, true);
  uint32_t length = 0;
  for (const size_t size : {size_t{0}, size_t{999}, size_t{1001}})
    EXPECT_NE(decode(good.data(), memory.out, size, length), 0u);
  EXPECT_EQ(length, 0u);

  const auto refused = [&](size_t at, uint32_t number) {
    bytes stream = good;
    qpak::store_u32(&stream[at], number);
    reseal(stream);
    const between_guards sealed(stream, 1000, true); // a reader that uses the size unchecked reads past the end
    return decode(sealed.in, sealed.out, data.size(), length) != 0;
  };
  const auto total = static_cast<uint32_t>(good.size());
  EXPECT_TRUE(refused(qpak::magic_at, qpak::magic + 1));
  for (const uint32_t wrong : {0u, total - 1, total + 1, 0xffffffffu})
    EXPECT_TRUE(refused(qpak::total_size_at, wrong)) << wrong;
  for (const uint32_t wrong : {0u, 1u, 999u, 0x40000001u, 0xffffffffu})
    EXPECT_TRUE(refused(qpak::block_size_at, wrong)) << wrong;
  for (const uint32_t wrong : {0u, 999u, 10u | qpak::stored_raw, 1000u | qpak::stored_raw, 0x7fffffffu, 0xffffffffu})
    EXPECT_TRUE(refused(qpak::directory_at, wrong)) << wrong;
  EXPECT_FALSE(refused(qpak::magic_at, qpak::magic)) << "resealing itself did harm";
}

TEST(Qpak, DamageIsHarmless) {
  constexpr uint32_t rounds = 1000;
  constexpr uint64_t seed = 20240611;
  SCOPED_TRACE(testing::Message() << "seed " << seed);
  std::mt19937_64 random(seed);
  const bytes data = sample(random);
  const bytes good = qpak_encode(data.data(), data.size());
  const size_t directory_end =
      qpak::directory_at + qpak::entry_size * qpak::block_count(static_cast<uint32_t>(data.size()), 65536);
  uint32_t failures = 0;
  for (uint32_t round = 0; round < rounds; ++round) {
    // A sealed stream with a larger total size would be a promise of bytes that are not there, so that field keeps
    // its value then.
    const bool sealed = round % 2;
    const size_t first = sealed ? qpak::raw_size_at : 0;
    bytes stream = good;
    for (uint64_t change = 0; change < 1 + random() % 3; ++change) {
      const size_t end = random() % 2 ? directory_end : stream.size();
      stream[first + random() % (end - first)] ^= static_cast<uint8_t>(1 + random() % 255);
    }
    if (sealed)
      reseal(stream);
    const between_guards memory(stream, data.size(), round & 2);
    uint32_t length = 0;
    const uint32_t status = decode(memory.in, memory.out, data.size(), length);
    ASSERT_TRUE(memory.intact()) << "round " << round;
    ASSERT_TRUE(status != 0 || memory.holds(data)) << "wrong data passed for right in round " << round;
    failures += status != 0;
  }
  EXPECT_GT(failures, rounds * 9 / 10);
}
