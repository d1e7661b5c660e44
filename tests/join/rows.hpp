// Vectors in the row forms, beside unreadable memory.
#pragma once

#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "tests/support/slots.hpp"
#include "tests/support/stored.hpp"

namespace vorn_test {

// The bytes of numbers or pointers, one behind the other.
template <class... Number>
std::string bytes_of(Number... numbers) {
  std::string bytes;
  (bytes.append(reinterpret_cast<const char *>(&numbers), sizeof numbers), ...);
  return bytes;
}

// Spreads over all bits; a vorn_hashfn.
inline uint64_t mix(const void *data, uint64_t length, uint64_t seed) {
  uint64_t hash = seed + length;
  for (uint64_t i = 0; i < length; ++i)
    hash = (hash ^ static_cast<const uint8_t *>(data)[i]) * 0x100000001b3U;
  hash = (hash ^ hash >> 29) * 0xbf58476d1ce4e5b9U;
  return (hash ^ hash >> 32) * 0x94d049bb133111ebU;
}

// The member of a family of kernels, or null.
template <class Family>
auto *member(const Family &family, const std::string &name) {
  const auto *found = std::find_if(family.begin(), family.end(), [&](const auto &each) { return each.name == name; });
  return found == family.end() ? nullptr : found;
}

// All areas end right before an unreadable page.
class stored_rows {
public:
  // form: the flag.  In the forms whose rows have one size (VORN_FIXED, VORN_HASH_VALUES, VORN_GD, VORN_HASHRID,
  // VORN_HASHGDRID) a value is the row as it is stored.  width: bits of a code; of a fixed row, 8 for each byte when 0;
  // of the offset in a partition of VORN_DLP.
  stored_rows(uint32_t form, const std::vector<std::string> &values, uint32_t width = 0) {
    enc.vorn_enc_ctx_flags = form;
    enc.vorn_enc_ctx_width = width != 0 || values.empty() ? width : static_cast<uint32_t>(values[0].size() * 8);
    std::string all, lens, rows;
    for (const std::string &value : values) {
      begins.push_back(all.size());
      all += form == VORN_LV ? bytes_of(static_cast<uint16_t>(value.size())) + value : value;
      lens += bytes_of(static_cast<uint16_t>(value.size()));
    }
    begins.push_back(all.size());
    uint8_t *vals = form == VORN_DICT ? place_dictionary(values, width) : place_bytes(all);
    for (size_t row = 0; row < values.size() && form != VORN_DICT; ++row)
      places.push_back(vals + begins[row] + (form == VORN_LV ? 2 : 0));
    const uint64_t last = form == VORN_DLP ? all.size() >> width : 0; // partition, which the table has first
    for (uint64_t part = 0; part <= last && form == VORN_DLP; ++part)
      partitions_.push_back(vals + ((last - part) << width));
    for (size_t row = 0; row < values.size(); ++row)
      if (form == VORN_LP_SEP)
        rows += bytes_of(places[row]);
      else if (form == VORN_LP)
        rows += lens.substr(2 * row, 2) + "unread" + bytes_of(places[row]);
      else if (form == VORN_DLP)
        rows += bytes_of(((last - (begins[row] >> width)) << width | begins[row] % (uint64_t{1} << width)) << 16 |
                         values[row].size());
    if (form == VORN_DLP)
      vorn_build_encoding_type_dlp(&enc, static_cast<uint8_t>(width), partitions_.data());
    if (form & (VORN_LP_SEP | VORN_LP | VORN_DLP))
      vals = place_bytes(rows);
    cv = vector_of(vals, enc, static_cast<uint32_t>(values.size()),
                   form & (VORN_LV_SEP | VORN_LP_SEP) ? place_bytes(lens) : nullptr);
  }
  stored_rows(const stored_rows &) = delete;
  stored_rows &operator=(const stored_rows &) = delete;

  vorn_enc_ctx enc = {};
  vorn_cv cv = {};
  std::vector<const uint8_t *> places; // of the values
  std::vector<uint64_t> begins;        // of the rows in VORN_LV and VORN_LV_SEP, and the end

private:
  uint8_t *place_bytes(const std::string &bytes) {
    uint8_t *at = areas_.emplace_back(bytes.size()).last(bytes.size());
    std::copy(bytes.begin(), bytes.end(), at);
    return at;
  }

  // Distinct values have scattered codes, of up to 20 bits; the other symbols are empty.
  uint8_t *place_dictionary(const std::vector<std::string> &values, uint32_t width) {
    const uint32_t ncodes = 1U << std::min(width, 20U);
    std::map<std::string, uint32_t> codes;
    std::vector<const std::string *> symbols(ncodes);
    for (const std::string &value : values)
      codes.emplace(value, static_cast<uint32_t>((codes.size() + 1) * 0x9e3779b1U % ncodes));
    for (const auto &[value, code] : codes)
      symbols[code] = &value;
    std::string all;
    std::vector<size_t> offsets;
    uint8_t *cla = areas_.emplace_back(4 * (ncodes + size_t{1})).last(4 * (ncodes + size_t{1}));
    for (uint32_t code = 0; code <= ncodes; ++code) {
      store_big(cla + 4 * size_t{code}, all.size(), 4);
      offsets.push_back(all.size());
      if (code < ncodes && symbols[code] != nullptr)
        all += *symbols[code];
    }
    const uint8_t *at = place_bytes(all);
    for (const std::string &value : values)
      places.push_back(at + offsets[codes[value]]);
    vorn_build_encoding_type_dict(&enc, width, at, nullptr, cla, ncodes, VORN_DICT_ONE_LENGTH, 0);
    return store_codes(areas_.emplace_back(values.size() * width / 8 + 1), true, width, values.size(),
                       [&](uint32_t row) { return codes[values[row]]; });
  }

  std::deque<guarded> areas_;
  std::vector<void *> partitions_;
};

} // namespace vorn_test
