// From dictionary codes to values.  The layout of the dictionary gives the address and the length of a value.
#pragma once

#include <algorithm>
#include <cstdint>

#include "frame/vorn.h"
#include "generic/big_endian.hpp"
#include "generic/native.hpp"

namespace vorn::inline VORN_LEVEL {

struct symbol {
  const uint8_t *bytes;
  uint32_t length;
};

// The layout with one length for all values.
class equal_symbols {
public:
  explicit equal_symbols(const vorn_enc_ctx &enc)
      : bytes_(static_cast<const uint8_t *>(enc.vorn_enc_ctx_dict_syms)),
        length_(load_big<uint16_t>(static_cast<const uint8_t *>(enc.vorn_enc_ctx_dict_lens))) {}

  uint32_t length() const { return length_; }
  const uint8_t *address(uint32_t code) const { return bytes_ + code * length_; } // the offset wraps at 32 bits
  symbol at(uint32_t code) const { return {address(code), length_}; }

private:
  const uint8_t *bytes_;
  uint32_t length_;
};

// The layout with values back to back.  A CLA holds the offset of each value.
class offset_symbols {
public:
  explicit offset_symbols(const vorn_enc_ctx &enc)
      : bytes_(static_cast<const uint8_t *>(enc.vorn_enc_ctx_dict_syms)),
        cla_(static_cast<const uint8_t *>(enc.vorn_enc_ctx_dict_cla)) {}

  symbol at(uint32_t code) const { return between(bounds(code)); }

  // Begin and end of a value as they are stored: one load reads both.
  uint64_t bounds(uint32_t code) const { return load<uint64_t>(cla_ + 4 * uint64_t{code}); }
  symbol between(uint64_t stored) const {
    const uint64_t bounds = __builtin_bswap64(stored), begin = bounds >> 32;
    return {bytes_ + begin, static_cast<uint32_t>(bounds - begin)};
  }

private:
  const uint8_t *bytes_;
  const uint8_t *cla_;
};

// The three output arrays of a decoder.  Each has one entry for each value.
struct symbol_arrays {
  const uint8_t **vals;
  uint16_t *lens;
  uint16_t *flgs; // may be null

  explicit symbol_arrays(const vorn_cv &res)
      : vals(static_cast<const uint8_t **>(res.vorn_cv_vals)), lens(static_cast<uint16_t *>(res.vorn_cv_lens)),
        flgs(static_cast<uint16_t *>(res.vorn_cv_flgs)) {}
};

inline constexpr uint16_t null_flag = 2;

inline void write_lengths(const symbol_arrays &out, uint32_t n, uint16_t length, uint16_t flags) {
  std::fill_n(out.lens, n, length);
  if (out.flgs != nullptr)
    std::fill_n(out.flgs, n, flags);
}

// Writes the values of n codes to the entries from `first` on, one by one.
template <class Symbols, class Code>
void write_singly(const symbol_arrays &out, uint32_t first, uint32_t n, const Symbols &symbols, Code code) {
  const Symbols values =
      symbols; // copies stay in registers, since the output may alias anything for all the compiler knows
  const uint8_t **const vals = out.vals + first;
  uint16_t *const lens = out.lens + first;
  const auto write = [&](uint32_t i) {
    const symbol value = values.at(code(i));
    vals[i] = value.bytes;
    return lens[i] = static_cast<uint16_t>(value.length); // a value of 2^16 bytes becomes NULL
  };
  if (out.flgs == nullptr) {
    for (uint32_t i = 0; i < n; ++i)
      write(i);
  } else {
    uint16_t *const flgs = out.flgs + first;
    for (uint32_t i = 0; i < n; ++i)
      flgs[i] = write(i) == 0 ? null_flag : 0;
  }
}

template <class Code>
void write_symbols(const symbol_arrays &out, uint32_t first, uint32_t n, const equal_symbols &symbols, Code code) {
  write_singly(out, first, n, symbols, code);
}

// The offsets of a block of values are loaded first.  The compiler vectorises the rest if it can reverse bytes in
// vectors.
template <class Code>
void write_symbols(const symbol_arrays &out, uint32_t first, uint32_t n, const offset_symbols &symbols, Code code) {
  const offset_symbols values = symbols;
  uint32_t done = 0;
#ifdef __SSSE3__
  constexpr uint32_t block = 64;
  for (; n - done >= block; done += block) {
    uint64_t bounds[block];
    for (uint32_t i = 0; i < block; ++i)
      bounds[i] = values.bounds(code(done + i));
    const uint8_t **const vals = out.vals + first + done;
    for (uint32_t i = 0; i < block; ++i)
      vals[i] = values.between(bounds[i]).bytes;
    uint16_t lens[block];
    for (uint32_t i = 0; i < block; ++i)
      lens[i] = static_cast<uint16_t>(values.between(bounds[i]).length);
    std::copy_n(lens, block, out.lens + first + done);
    if (out.flgs != nullptr) {
      uint16_t *const flgs = out.flgs + first + done;
      for (uint32_t i = 0; i < block; ++i)
        flgs[i] = lens[i] == 0 ? null_flag : 0;
    }
  }
#endif
  write_singly(out, first + done, n - done, values, [&](uint32_t i) { return code(done + i); });
}

// Decodes n codes by codes.write(symbols, out).  If every value is NULL, write is not called, so that no stream is
// decompressed for nothing.
template <class Codes>
uint32_t decode_symbols(vorn_cv *res, const vorn_enc_ctx &enc, uint32_t n, const Codes &codes) {
  const symbol_arrays out(*res);
  switch (enc.vorn_enc_ctx_dict_layout) {
  case VORN_DICT_ONE_LENGTH: {
    const equal_symbols symbols(enc);
    if (symbols.length() != 0)
      codes.write(symbols, out);
    else
      write_lengths(out, n, 0, null_flag);
    break;
  }
  case VORN_DICT_CLA:
    codes.write(offset_symbols(enc), out);
    break;
  default:
    return VORN_RESULT_NO_IMPLEMENTATION;
  }
  res->vorn_cv_popc = n;
  return VORN_RESULT_DONE;
}

} // namespace vorn::inline VORN_LEVEL
