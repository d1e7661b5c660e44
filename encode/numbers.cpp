// Numbers in the forms that sums, arithmetic and conversion read.
#include <type_traits>

#include "encode/output.hpp"

namespace {

using namespace vornenc;

// The kinds of numbers: the type of an element, and the conversions between the element and its stored bits.
struct floats {
  using number = float;
  using stored = uint32_t;
  static stored key(number n) { return vornenc_key_of_float(n); }
  static number of_key(stored key) { return vornenc_float_of_key(key); }
};
struct doubles {
  using number = double;
  using stored = uint64_t;
  static stored key(number n) { return vornenc_key_of_double(n); }
  static number of_key(stored key) { return vornenc_double_of_key(key); }
};
template <class Signed, class Unsigned>
struct integers {
  using number = int64_t;
  using stored = Unsigned;
  static stored key(number n) { return static_cast<Unsigned>(n); }
  static number of_key(stored key) { return static_cast<Signed>(key); }
};

// Calls a function with an object of the kind.  Returns false when there is no such kind.
template <class Take>
bool with_kind(uint32_t num_type, uint32_t width, Take take) {
  if (num_type > VORN_NUM_DSB || width > 64)
    return false;
  switch (num_type << 8 | width) {
  case VORN_NUM_FLOAT << 8 | 32:
    take(floats());
    return true;
  case VORN_NUM_DOUBLE << 8 | 64:
    take(doubles());
    return true;
  case VORN_NUM_DSB << 8 | 8:
    take(integers<int8_t, uint8_t>());
    return true;
  case VORN_NUM_DSB << 8 | 16:
    take(integers<int16_t, uint16_t>());
    return true;
  case VORN_NUM_DSB << 8 | 32:
    take(integers<int32_t, uint32_t>());
    return true;
  case VORN_NUM_DSB << 8 | 64:
    take(integers<int64_t, uint64_t>());
    return true;
  default:
    return false;
  }
}

uint8_t swapped(uint8_t number) { return number; }
uint16_t swapped(uint16_t number) { return __builtin_bswap16(number); }
uint32_t swapped(uint32_t number) { return __builtin_bswap32(number); }
uint64_t swapped(uint64_t number) { return __builtin_bswap64(number); }

} // namespace

uint32_t vornenc_pack_numbers(void *out, size_t out_bytes, const void *numbers, uint32_t n, uint32_t num_type,
                              uint32_t width) {
  uint32_t result = VORNENC_DONE;
  const bool is_kind = with_kind(num_type, width, [&]<class Kind>(Kind) {
    if (out_bytes < vornenc_fixed_bytes(n, width)) {
      result = VORNENC_NO_ROOM;
      return;
    }
    const auto *from = static_cast<const typename Kind::number *>(numbers);
    if constexpr (std::is_same_v<typename Kind::number, int64_t>)
      for (uint32_t i = 0; i < n; ++i)
        if (Kind::of_key(Kind::key(from[i])) != from[i])
          result = VORNENC_TOO_WIDE;
    if (result != VORNENC_DONE)
      return;
    auto *next = static_cast<uint8_t *>(out);
    for (uint32_t i = 0; i < n; ++i) {
      const typename Kind::stored stored = swapped(Kind::key(from[i]));
      std::memcpy(next, &stored, sizeof stored);
      next += sizeof stored;
    }
    clear_slack(next);
  });
  return is_kind ? result : uint32_t{VORNENC_BAD_WIDTH};
}

uint32_t vornenc_unpack_numbers(void *numbers, size_t numbers_bytes, const void *stream, uint32_t n, uint32_t num_type,
                                uint32_t width) {
  uint32_t result = VORNENC_DONE;
  const bool is_kind = with_kind(num_type, width, [&]<class Kind>(Kind) {
    if (numbers_bytes / sizeof(typename Kind::number) < n) {
      result = VORNENC_NO_ROOM;
      return;
    }
    auto *to = static_cast<typename Kind::number *>(numbers);
    const auto *next = static_cast<const uint8_t *>(stream);
    for (uint32_t i = 0; i < n; ++i) {
      typename Kind::stored stored;
      std::memcpy(&stored, next, sizeof stored);
      next += sizeof stored;
      to[i] = Kind::of_key(swapped(stored));
    }
  });
  return is_kind ? result : uint32_t{VORNENC_BAD_WIDTH};
}
