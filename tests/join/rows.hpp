// Vectors in the row forms, whose memory ends right before unreadable pages.
#pragma once

#include <deque>
#include <map>
#include <string>

#include "tests/support/slots.hpp"
#include "tests/support/stored.hpp"

namespace vorn_test {

// The bytes of numbers or pointers, one behind the other.
template <class... Number>
std::string bytes_of(Number... numbers) {
  return (std::string(reinterpret_cast<const char *>(&numbers), sizeof numbers) + ...);
}

// A hash function whose values spread over all bits.
inline uint64_t mix(const void *data, uint64_t length, uint64_t seed) {
  uint64_t hash = seed + length;
  for (uint64_t i = 0; i < length; ++i)
    hash = (hash ^ static_cast<const uint8_t *>(data)[i]) * 0x100000001b3U;
  hash = (hash ^ hash >> 29) * 0xbf58476d1ce4e5b9U;
  return (hash ^ hash >> 32) * 0x94d049bb133111ebU;
}

// The member of a family of kernels that has a name, or null.
template <class Family>
auto *member(const Family &family, const std::string &name) {
  const auto *found = std::find_if(family.begin(), family.end(), [&](const auto &each) { return each.name == name; });
  return found == family.end() ? nullptr : found->function;
}

class stored_rows {
public:
  // form: the flag.  In the forms whose rows have one size (VORN_FIXED, VORN_HASH_VALUES, VORN_GD, VORN_HASHRID,
  // VORN_HASHGDRID) a value is the row as it is stored.  width: bits of a code; of a fixed row, 8 for each byte when 0;
  // of the offset in a partition of VORN_DLP, which has to reach over all values.
  stored_rows(uint32_t form, const std::vector<std::string> &values, uint32_t width = 0) {
    enc.vorn_enc_ctx_flags = form;
    enc.vorn_enc_ctx_width = width != 0 || values.empty() ? width : static_cast<uint32_t>(values[0].size() * 8);
    std::string all, lens, rows;
    for (const std::string &value : values) {
      lens += bytes_of(static_cast<uint16_t>(value.size()));
      begins.push_back(all.size());
      all += form == VORN_LV ? lens.substr(lens.size() - 2) + value : value;
    }
    begins.push_back(all.size());
    uint8_t *vals = form == VORN_DICT ? place_dictionary(values, width) : place_bytes(all);
    for (uint64_t row = 0; row < values.size() && form != VORN_DICT; ++row) {
      places.push_back(vals + begins[row] + (form == VORN_LV ? 2 : 0));
      rows += form == VORN_LP_SEP ? bytes_of(places[row])
              : form == VORN_LP   ? lens.substr(2 * row, 2) + "unread" + bytes_of(places[row])
              : form == VORN_DLP ? bytes_of((row % 3 << width | (begins[row] + row % 3 * 4)) << 16 | values[row].size())
                                 : "";
    }
    if (form == VORN_DLP)
      vorn_build_encoding_type_dlp(&enc, static_cast<uint8_t>(width), partitions_);
    std::generate_n(partitions_, 3, [part = vals + 4]() mutable { return part -= 4; });
    cv = vector_of(rows.empty() ? vals : place_bytes(rows), enc, static_cast<uint32_t>(values.size()),
                   form & (VORN_LV_SEP | VORN_LP_SEP) ? place_bytes(lens) : nullptr);
  }
  stored_rows(const stored_rows &) = delete;
  stored_rows &operator=(const stored_rows &) = delete;

  vorn_enc_ctx enc = {};
  vorn_cv cv = {};
  std::vector<const uint8_t *> places; // of the values
  std::vector<uint64_t> begins;        // of the rows of VORN_LV and VORN_LV_SEP, and the end

private:
  uint8_t *place_bytes(const std::string &bytes) {
    uint8_t *at = areas_.emplace_back(bytes.size()).last(bytes.size());
    std::copy(bytes.begin(), bytes.end(), at);
    return at;
  }

  // Distinct values have scattered codes, of up to 18 bits; the other symbols are empty.
  uint8_t *place_dictionary(const std::vector<std::string> &values, uint32_t width) {
    const size_t ncodes = size_t{1} << std::min(width, 18U);
    std::map<std::string, size_t> codes;
    std::vector<const std::string *> symbols(ncodes + 1);
    for (const std::string &value : values)
      symbols[codes.emplace(value, (codes.size() + 1) * 0x9e3779b1 % ncodes).first->second] = &value;
    std::string all;
    std::vector<size_t> offsets;
    uint8_t *cla = areas_.emplace_back(4 * ncodes + 4).last(4 * ncodes + 4);
    for (const std::string *symbol : symbols) {
      store_big(cla + 4 * offsets.size(), all.size(), 4);
      offsets.push_back(all.size());
      all += symbol == nullptr ? "" : *symbol;
    }
    const uint8_t *at = place_bytes(all);
    for (const std::string &value : values)
      places.push_back(at + offsets[codes[value]]);
    vorn_build_encoding_type_dict(&enc, width, at, nullptr, cla, 0, VORN_DICT_ONE_LENGTH, 0);
    return store_codes(areas_.emplace_back(values.size() * width / 8 + 1), true, width, values.size(),
                       [&](uint32_t row) { return codes[values[row]]; });
  }

  std::deque<guarded> areas_;
  void *partitions_[3] = {};
};

} // namespace vorn_test
