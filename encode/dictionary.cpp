// Codes of texts, and the symbols of a dictionary.
#include <algorithm>

#include "encode/output.hpp"

namespace {

using namespace vornenc;

constexpr uint32_t longest_text = UINT16_MAX;

// Below zero, zero or above zero like memcmp.  NULL is before the empty text.
int compare(const vornenc_text &a, const vornenc_text &b) {
  if ((a.bytes == nullptr) != (b.bytes == nullptr))
    return a.bytes == nullptr ? -1 : 1;
  const uint32_t common = std::min(a.length, b.length);
  const int order = common == 0 ? 0 : std::memcmp(a.bytes, b.bytes, common);
  return order != 0 ? order : a.length < b.length ? -1 : a.length > b.length ? 1 : 0;
}

const vornenc_text &text_of(const vornenc_text *texts, const uint32_t *text_of_code, uint32_t code) {
  return texts[text_of_code != nullptr ? text_of_code[code] : code];
}

} // namespace

uint32_t vornenc_assign_codes(uint32_t *codes, uint32_t *row_of_code, uint32_t *ncodes, const vornenc_text *rows,
                              uint32_t nrows) {
  for (uint32_t row = 0; row < nrows; ++row)
    if (rows[row].length > longest_text || (rows[row].bytes == nullptr && rows[row].length != 0))
      return VORNENC_TOO_WIDE;
  // The array holds all rows in the order of their texts, before it is cut to one row for each code.
  uint32_t *const sorted = row_of_code;
  for (uint32_t row = 0; row < nrows; ++row)
    sorted[row] = row;
  std::sort(sorted, sorted + nrows, [rows](uint32_t a, uint32_t b) {
    const int order = compare(rows[a], rows[b]);
    return order != 0 ? order < 0 : a < b;
  });
  uint32_t count = 0;
  for (uint32_t i = 0; i < nrows; ++i) {
    const uint32_t row = sorted[i];
    if (count == 0 || compare(rows[row_of_code[count - 1]], rows[row]) != 0)
      row_of_code[count++] = row;
    codes[row] = count - 1;
  }
  *ncodes = count;
  return VORNENC_DONE;
}

size_t vornenc_symbols_bytes(const vornenc_text *texts, const uint32_t *text_of_code, uint32_t nsyms) {
  size_t bytes = 0;
  for (uint32_t code = 0; code < nsyms; ++code)
    bytes += text_of(texts, text_of_code, code).length;
  return bytes;
}

uint32_t vornenc_pack_symbols(vornenc_dictionary *dictionary, void *syms, size_t syms_bytes, uint32_t *cla,
                              size_t cla_bytes, const vornenc_text *texts, const uint32_t *text_of_code,
                              uint32_t nsyms) {
  const uint32_t one_length = nsyms == 0 ? 0 : text_of(texts, text_of_code, 0).length;
  bool have_one_length = true;
  for (uint32_t code = 0; code < nsyms; ++code) {
    const uint32_t length = text_of(texts, text_of_code, code).length;
    if (length > longest_text)
      return VORNENC_TOO_WIDE;
    have_one_length = have_one_length && length == one_length;
  }
  const size_t bytes = vornenc_symbols_bytes(texts, text_of_code, nsyms);
  if (bytes > UINT32_MAX)
    return VORNENC_TOO_MANY;
  if (cla == nullptr && !have_one_length)
    return VORNENC_NOT_ONE_LENGTH;
  if (syms_bytes < bytes || (cla != nullptr && cla_bytes / sizeof *cla <= nsyms))
    return VORNENC_NO_ROOM;

  dictionary->syms = syms;
  dictionary->cla = cla;
  dictionary->nsyms = nsyms;
  dictionary->one_length = 0;
  if (cla == nullptr)
    put_16(&dictionary->one_length, static_cast<uint16_t>(one_length));
  auto *next = static_cast<uint8_t *>(syms);
  if (cla != nullptr)
    *cla++ = 0;
  for (uint32_t code = 0; code < nsyms; ++code) {
    const vornenc_text &text = text_of(texts, text_of_code, code);
    if (text.length != 0)
      std::memcpy(next, text.bytes, text.length);
    next += text.length;
    if (cla != nullptr)
      put_32(cla++, static_cast<uint32_t>(next - static_cast<uint8_t *>(syms)));
  }
  return VORNENC_DONE;
}
