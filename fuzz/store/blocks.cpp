// Block-compressed streams.  Encoded data decodes to itself.  Other bytes cause no read or write outside of the
// buffers.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "fuzz/store/targets.hpp"
#include "host/qpak_encoder.hpp"
#include "tests/host/qpak_stream.hpp"

namespace vorn_fuzz {

namespace {

using namespace vorn_host;
using bytes = std::vector<uint8_t>;

void expect_back(const bytes &data, bool at_end) {
  const bytes stream = qpak_encode(data.data(), data.size());
  EXPECT_EQ(qpak_stream_size(stream.data(), stream.size()), stream.size());
  const vorn_test::between_guards memory(stream, data.size(), at_end);
  uint32_t length = 0;
  ASSERT_EQ(vorn_test::decode(memory.in, memory.out, data.size(), length), 0U);
  EXPECT_EQ(length, data.size());
  EXPECT_TRUE(memory.holds(data) && memory.intact());
}

// Header and directory from the input, then blocks.
bytes stream_from(input &from, uint32_t raw_size) {
  bytes out(qpak::directory_at);
  constexpr uint32_t block_sizes[] = {qpak::usual_block_size, 0, 1, 16, 100, qpak::largest_block_size};
  const uint32_t block_size = seldom(from) ? from.ConsumeIntegral<uint32_t>() : from.PickValueInArray(block_sizes);
  const int lie = seldom(from) ? from.ConsumeIntegral<int8_t>() : 0;
  const bool has_checks = !seldom(from);
  const size_t blocks = block_size == 0 ? 0 : qpak::block_count(raw_size, block_size);
  for (size_t block = 0; block < blocks && from.remaining_bytes() > 1; ++block) {
    const auto stored = from.ConsumeIntegral<uint8_t>();
    const uint32_t is_raw = stored & 1 ? qpak::stored_raw : 0;
    const uint32_t size =
        is_raw != 0 && !seldom(from) ? qpak::raw_block_size(raw_size, block_size, block) : stored / 2U;
    out.resize(out.size() + qpak::entry_size);
    qpak::store_u32(&out[out.size() - qpak::entry_size],
                    seldom(from) ? from.ConsumeIntegral<uint32_t>() : size | is_raw);
  }
  const auto rest = from.ConsumeRemainingBytes<uint8_t>();
  out.insert(out.end(), rest.begin(), rest.end());
  qpak::store_u32(&out[qpak::magic_at], qpak::magic);
  // A size beyond the end is a fault that the caller has to find.
  qpak::store_u32(&out[qpak::total_size_at], static_cast<uint32_t>(out.size()) - static_cast<uint32_t>(lie));
  qpak::store_u32(&out[qpak::raw_size_at], raw_size);
  qpak::store_u32(&out[qpak::block_size_at], block_size);
  if (has_checks)
    vorn_test::reseal(out);
  return out;
}

void expect_harmless(bytes stream, uint32_t out_size, bool at_end) {
  const uint32_t claimed = qpak_stream_size(stream.data(), stream.size());
  if (claimed > stream.size())
    return;
  const uint32_t block_size = qpak::load_u32(&stream[qpak::block_size_at]);
  const size_t blocks = block_size == 0 ? 0 : qpak::block_count(out_size, block_size);
  // The checksum of each block becomes the checksum of the decoded bytes, so that the decoder reads the next block.
  for (size_t block = 0; block <= std::min<size_t>(blocks, 8); ++block) {
    const vorn_test::between_guards memory(stream, out_size, at_end);
    uint32_t length = 0;
    const bool is_decoded = vorn_test::decode(memory.in, memory.out, out_size, length) == 0;
    EXPECT_TRUE(memory.intact());
    if (is_decoded) {
      EXPECT_EQ(length, out_size);
      size_t at = qpak::directory_at + blocks * qpak::entry_size;
      for (size_t b = 0; b < blocks; ++b) {
        const uint32_t stored = qpak::load_u32(&stream[qpak::directory_at + b * qpak::entry_size]);
        if ((stored & qpak::stored_raw) != 0)
          EXPECT_EQ(std::memcmp(memory.out + b * block_size, stream.data() + at, stored & ~qpak::stored_raw), 0);
        at += stored & ~qpak::stored_raw;
      }
      EXPECT_EQ(at, claimed);
      return;
    }
    const size_t entry = qpak::directory_at + block * qpak::entry_size;
    if (claimed == 0 || block == blocks || entry + qpak::entry_size > stream.size())
      return;
    qpak::store_u32(
        &stream[entry + qpak::entry_check_at],
        qpak::check_of(memory.out + block * block_size, qpak::raw_block_size(out_size, block_size, block), block));
    vorn_test::reseal(stream);
  }
}

} // namespace

void blocks(input &from) {
  const bool at_end = from.ConsumeBool();
  if (from.ConsumeBool()) {
    const auto times = from.ConsumeIntegralInRange<size_t>(0, 1000);
    const auto more = from.ConsumeIntegralInRange<size_t>(0, 100);
    const auto part = from.ConsumeRemainingBytes<uint8_t>();
    bytes data;
    for (size_t i = 0; i < times && data.size() < 4 * qpak::usual_block_size; ++i)
      data.insert(data.end(), part.begin(), part.end());
    data.resize(data.size() + more, 7);
    expect_back(data, at_end);
    return;
  }
  const auto raw_size = from.ConsumeIntegralInRange<uint32_t>(0, seldom(from) ? 3 * qpak::usual_block_size : 300);
  const uint32_t out_size = raw_size + (seldom(from) ? from.ConsumeIntegral<uint8_t>() : 0);
  expect_harmless(stream_from(from, raw_size), out_size, at_end);
}

} // namespace vorn_fuzz
