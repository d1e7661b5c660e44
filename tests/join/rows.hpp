// Vectors in the row forms.  Their memory ends right before unreadable pages.
#pragma once

#include <deque>
#include <string>
#include <string_view>

#include "tests/support/kernel_test.hpp"
#include "tests/support/slots.hpp"
#include "tests/support/stored.hpp"

namespace vorn_test {

// A hash function with well mixed bits.
inline uint64_t mix(const void *data, uint64_t length, uint64_t seed) {
  return std::hash<std::string_view>()({static_cast<const char *>(data), length}) ^ seed * 0x9e3779b97f4a7c15U;
}

class stored_rows {
public:
  // form: the flag.  Where all rows have one size (VORN_FIXED, VORN_GD, records), a value is the stored row.
  // width: of VORN_DICT the bits of a code, with values that repeat when there are fewer codes than rows; of VORN_DLP
  // the bits of the offset in a partition, enough for all values; else the bits of a row; 0 stands for
  // the bits of the values.
  stored_rows(uint32_t form, const std::vector<std::string> &values, uint32_t width = 0) : form_(form) {
    enc.vorn_enc_ctx_flags = form;
    enc.vorn_enc_ctx_width = width != 0 || values.empty() ? width : static_cast<uint32_t>(values[0].size() * 8);
    std::string all, lens, rows;
    for (const std::string &value : values) {
      lens += bytes_of(static_cast<uint16_t>(value.size()));
      begins.push_back(all.size());
      all += form == VORN_LV ? lens.substr(lens.size() - 2) + value : value;
    }
    begins.push_back(all.size());
    uint8_t *vals = form == VORN_DICT ? add_codes(values, width) : add_bytes(all);
    for (uint64_t row = 0; row < values.size() && form != VORN_DICT; ++row) {
      const uint64_t part = width < 64 ? row % 3 : 0, in_part = begins[row] + part * 4;
      addresses.push_back(vals + begins[row] + (form == VORN_LV ? 2 : 0));
      rows += form == VORN_LP_SEP ? bytes_of(addresses[row])
              : form == VORN_LP   ? lens.substr(2 * row, 2) + "unread" + bytes_of(addresses[row])
              : form == VORN_DLP  ? bytes_of((part << width % 64 | in_part) << 16 | values[row].size())
                                  : "";
    }
    if (form == VORN_DLP)
      vorn_build_encoding_type_dlp(&enc, static_cast<uint8_t>(width), partitions_);
    std::generate_n(partitions_, 3, [part = vals + 4]() mutable { return part -= 4; });
    cv = vector_of(rows.empty() ? vals : add_bytes(rows), enc, static_cast<uint32_t>(values.size()),
                   form & (VORN_LV_SEP | VORN_LP_SEP) ? add_bytes(lens) : nullptr);
  }

  // The position at which a call begins or stops: a row, and its byte in the forms with a byte position.
  void set_position(vorn_aux &aux, size_t row) const {
    aux.vorn_aux_start_slot = static_cast<uint32_t>(row);
    if (form_ == VORN_LV || form_ == VORN_LV_SEP)
      aux.vorn_aux_out_pos = begins[std::min(row, begins.size() - 1)];
  }

  vorn_enc_ctx enc = {};
  vorn_cv cv = {};
  std::vector<const uint8_t *> addresses; // of the values
  std::vector<uint64_t> begins;           // of the rows of VORN_LV and VORN_LV_SEP, and the end

private:
  uint8_t *add_bytes(const std::string &bytes) {
    uint8_t *at = areas_.emplace_back(bytes.size()).last(bytes.size());
    std::copy(bytes.begin(), bytes.end(), at);
    return at;
  }

  // Scattered codes of up to 18 bits.  Codes without a value have empty symbols.
  uint8_t *add_codes(const std::vector<std::string> &values, uint32_t width) {
    const size_t ncodes = size_t{1} << std::min(width, 18U);
    const auto code_of = [&](size_t row) { return row * 0x9e3779b1 % ncodes; };
    std::vector<std::string> symbols(ncodes + 1);
    for (size_t row = 0; row < std::min(values.size(), ncodes); ++row)
      symbols[code_of(row)] = values[row];
    std::string all, cla;
    std::vector<size_t> offsets;
    for (const std::string &symbol : symbols) {
      cla += bytes_of(__builtin_bswap32(static_cast<uint32_t>(all.size())));
      offsets.push_back(all.size());
      all += symbol;
    }
    const uint8_t *at = add_bytes(all);
    for (size_t row = 0; row < values.size(); ++row)
      addresses.push_back(at + offsets[code_of(row)]);
    vorn_build_encoding_type_dict(&enc, width, at, nullptr, add_bytes(cla), 0, VORN_DICT_ONE_LENGTH, 0);
    return store_codes(areas_.emplace_back(values.size() * width / 8 + 1), true, width, values.size(), code_of);
  }

  uint32_t form_;
  std::deque<guarded> areas_;
  void *partitions_[3] = {};
};

} // namespace vorn_test
