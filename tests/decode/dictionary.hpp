// A dictionary for tests of the decoders, and what they have to give for a code.
#pragma once

#include <cstdint>
#include <vector>

#include "frame/vorn.h"
#include "tests/decode/run_lengths.hpp"

namespace vorn_test {

struct decoded {
  const void *value;
  uint16_t length;
  uint16_t flags;
  bool operator==(const decoded &) const = default;
};

// Values of different lengths, empty ones and one of 65,536 bytes among them.  The CLA ends at unreadable memory.
class offset_dictionary {
public:
  explicit offset_dictionary(uint32_t nsyms) : memory_(4 * (nsyms + 1)), cla_(memory_.last(4 * (nsyms + 1))) {
    uint32_t end = 0;
    offsets_.push_back(end);
    for (uint32_t code = 0; code < nsyms; ++code) {
      end += code == 3 ? 65536 : code % 3;
      offsets_.push_back(end);
    }
    for (uint32_t i = 0; i <= nsyms; ++i)
      store_big(cla_ + 4 * i, offsets_[i], 4);
    symbols_.resize(end);
  }

  vorn_enc_ctx encoding(unsigned width, uint32_t flags = 0) const {
    vorn_enc_ctx enc;
    vorn_build_encoding_type_dict(&enc, width, symbols_.data(), nullptr, cla_,
                                  static_cast<uint32_t>(offsets_.size() - 1), VORN_DICT_CLA, flags);
    return enc;
  }

  decoded at(uint32_t code) const {
    const auto length = static_cast<uint16_t>(offsets_[code + 1] - offsets_[code]);
    return {symbols_.data() + offsets_[code], length, static_cast<uint16_t>(length == 0 ? 2 : 0)};
  }

private:
  guarded memory_;
  uint8_t *cla_;
  std::vector<uint32_t> offsets_;
  std::vector<uint8_t> symbols_;
};

// Values of one length, which is big-endian.
inline vorn_enc_ctx one_length(unsigned width, const void *symbols, const uint8_t *length, uint32_t flags = 0) {
  vorn_enc_ctx enc;
  vorn_build_encoding_type_dict(&enc, width, symbols, length, nullptr, 0, VORN_DICT_ONE_LENGTH, flags);
  return enc;
}

// The three output arrays of a decode, filled with what must not stay.
struct decode_output {
  static constexpr uint64_t untouched = 0xabababababababab;

  explicit decode_output(size_t n) : vals(n + 1, untouched), lens(n + 1, 0xabab), flgs(n + 1, 0xabab) {
    vorn_build_vector(&res, vals.data(), lens.data(), flgs.data(), nullptr, nullptr, nullptr, static_cast<uint32_t>(n),
                      0, nullptr, 0);
    res.vorn_cv_popc = 12345;
  }

  decoded at(size_t i) const { return {reinterpret_cast<const void *>(vals[i]), lens[i], flgs[i]}; }
  bool nothing_from(size_t i) const { return vals[i] == untouched && lens[i] == 0xabab && flgs[i] == 0xabab; }

  std::vector<uint64_t> vals;
  std::vector<uint16_t> lens, flgs;
  vorn_cv res = {};
};

} // namespace vorn_test
