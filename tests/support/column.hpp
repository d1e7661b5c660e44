// Columns of dictionary codes.
#pragma once

#include <optional>

#include "tests/model/unpack.hpp"
#include "tests/support/random.hpp"
#include "tests/support/slots.hpp"
#include "tests/support/stored.hpp"

namespace vorn_test {

// A column of random codes that begin after unreadable memory or end before it; run lengths end before it.
class column {
public:
  // lens_width 0: no runs.
  column(unsigned width, uint32_t nrows, unsigned lens_width, uint32_t longest, random_source &random)
      : stream_(nrows * 4) {
    longest = lens_width == 8 ? std::min(longest, 255U) : longest;
    std::vector<uint32_t> lengths;
    for (uint32_t left = nrows; left != 0; left -= lengths.back())
      lengths.push_back(lens_width == 0 ? 1
                                        : std::min<uint32_t>(left, static_cast<uint32_t>(1 + random.below(longest))));
    const auto ncodes = static_cast<uint32_t>(lengths.size());
    const uint8_t *bytes = store_codes(stream_, random.once_in(2), width, ncodes, [&](uint32_t i) {
      const auto code = static_cast<uint32_t>(random() & ((uint64_t{1} << width) - 1));
      model.row_codes.insert(model.row_codes.end(), lengths[i], code);
      return code;
    });
    vorn_build_encoding_type_dict(&enc, width, nullptr, nullptr, nullptr, 0, 0, 0);
    if (lens_width != 0) {
      lens_.emplace(lengths, lens_width);
      vorn_add_encoding_type_rle(&enc, lens_->data(), nullptr, static_cast<uint8_t>(lens_width), ncodes, nullptr);
      model.run_lengths = lengths;
    }
    src = vector_of(bytes, enc, nrows);
  }

  vorn_model::unpack_source model;
  vorn_enc_ctx enc = {};
  vorn_cv src = {};

private:
  guarded stream_;
  std::optional<run_length_array> lens_;
};

} // namespace vorn_test
