// Runs of equal codes.
#include <algorithm>

#include "encode/output.hpp"

namespace {

using namespace vornenc;

// Calls with the code of each run and the number of its rows, of which there is at least one.
template <class Take>
void for_runs(const uint32_t *codes, const uint64_t *counts, uint64_t n, Take take) {
  for (uint64_t i = 0; i < n;) {
    const uint32_t code = codes[i];
    uint64_t rows = 0;
    for (; i < n && codes[i] == code; ++i)
      rows += counts != nullptr ? counts[i] : 1;
    if (rows != 0)
      take(code, rows);
  }
}

} // namespace

uint64_t vornenc_count_runs(const uint32_t *codes, const uint64_t *counts, uint64_t n, uint32_t longest) {
  uint64_t runs = 0;
  for_runs(codes, counts, n, [&](uint32_t, uint64_t rows) { runs += rows <= longest ? 1 : (rows - 1) / longest + 1; });
  return runs;
}

uint32_t vornenc_split_runs(uint32_t *run_codes, void *lens, uint32_t *cla, uint32_t nruns, const uint32_t *codes,
                            const uint64_t *counts, uint32_t n, uint32_t length_bits) {
  if (length_bits != 8 && length_bits != 16)
    return VORNENC_BAD_WIDTH;
  const uint64_t longest = largest(length_bits);
  uint64_t all_rows = 0;
  uint64_t all_runs = 0;
  for_runs(codes, counts, n, [&](uint32_t, uint64_t rows) {
    const uint64_t room = UINT32_MAX - all_rows;
    all_rows = rows > room ? UINT64_MAX : all_rows + rows;
    all_runs += (rows - 1) / longest + 1;
  });
  if (all_rows > UINT32_MAX)
    return VORNENC_TOO_MANY;
  if (all_runs > nruns)
    return VORNENC_NO_ROOM;

  auto *next_length = static_cast<uint8_t *>(lens);
  uint32_t end = 0;
  if (cla != nullptr)
    *cla++ = 0;
  for_runs(codes, counts, n, [&](uint32_t code, uint64_t rows) {
    for (uint64_t length; rows != 0; rows -= length) {
      length = std::min(rows, longest);
      end += static_cast<uint32_t>(length);
      *run_codes++ = code;
      if (length_bits == 8)
        *next_length = static_cast<uint8_t>(length);
      else
        put_16(next_length, static_cast<uint16_t>(length));
      next_length += length_bits / 8;
      if (cla != nullptr)
        put_32(cla++, end);
    }
  });
  return VORNENC_DONE;
}
