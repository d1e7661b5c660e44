// Runs of equal codes.
#include <algorithm>
#include <limits>

#include "encode/output.hpp"

namespace {

using namespace vornenc;

// Calls a function with the code of each row, and with true if the row begins a run.  There is no branch that random
// codes would mispredict.
template <class Take>
void for_rows(const uint32_t *codes, uint64_t n, uint32_t longest, Take take) {
  uint32_t last = 0;
  uint32_t length = longest;
  for (uint64_t i = 0; i < n; ++i) {
    const uint32_t code = codes[i];
    const bool begins = (code != last) | (length == longest);
    length = begins ? 1 : length + 1;
    last = code;
    take(code, begins, length);
  }
}

// Calls a function with the code of each run and the number of its rows.
template <class Take>
void for_runs(const uint32_t *codes, const uint64_t *counts, uint64_t n, Take take) {
  for (uint64_t i = 0; i < n;) {
    const uint32_t code = codes[i];
    uint64_t rows = 0;
    for (; i < n && codes[i] == code; ++i)
      rows += counts[i];
    if (rows != 0)
      take(code, rows);
  }
}

// Are there fewer than 2^32 rows?
bool are_few(const uint64_t *counts, uint32_t n) {
  uint64_t rows = 0;
  for (uint32_t i = 0; counts != nullptr && i < n && rows <= UINT32_MAX; ++i)
    rows += std::min<uint64_t>(counts[i], uint64_t{1} << 32);
  return rows <= UINT32_MAX;
}

void put_length(uint8_t *at, uint8_t length) { *at = length; }
void put_length(uint8_t *at, uint16_t length) { put_16(at, length); }

template <class Length>
void split(uint32_t *run_codes, uint8_t *lens, const uint32_t *codes, const uint64_t *counts, uint32_t n) {
  constexpr uint32_t longest = std::numeric_limits<Length>::max();
  if (counts != nullptr) {
    for_runs(codes, counts, n, [&](uint32_t code, uint64_t rows) {
      for (uint64_t length; rows != 0; rows -= length) {
        length = std::min<uint64_t>(rows, longest);
        *run_codes++ = code;
        put_length(lens, static_cast<Length>(length));
        lens += sizeof(Length);
      }
    });
    return;
  }
  // Each row writes the present code and length of its run.  The first row begins run 0.
  auto run = ~size_t{0};
  for_rows(codes, n, longest, [&](uint32_t code, bool begins, uint32_t length) {
    run += begins;
    run_codes[run] = code;
    put_length(lens + run * sizeof(Length), static_cast<Length>(length));
  });
}

} // namespace

uint64_t vornenc_count_runs(const uint32_t *codes, const uint64_t *counts, uint64_t n, uint32_t longest) {
  uint64_t runs = 0;
  if (counts != nullptr)
    for_runs(codes, counts, n, [&](uint32_t, uint64_t rows) { runs += (rows - 1) / longest + 1; });
  else
    for_rows(codes, n, longest, [&](uint32_t, bool begins, uint32_t) { runs += begins; });
  return runs;
}

uint32_t vornenc_split_runs(uint32_t *run_codes, void *lens, uint32_t *cla, uint32_t nruns, const uint32_t *codes,
                            const uint64_t *counts, uint32_t n, uint32_t length_bits) {
  if (length_bits != 8 && length_bits != 16)
    return VORNENC_BAD_WIDTH;
  if (!are_few(counts, n))
    return VORNENC_TOO_MANY;
  const uint64_t needed = vornenc_count_runs(codes, counts, n, static_cast<uint32_t>(largest(length_bits)));
  if (needed > nruns)
    return VORNENC_NO_ROOM;
  auto *const lengths = static_cast<uint8_t *>(lens);
  (length_bits == 8 ? split<uint8_t> : split<uint16_t>) (run_codes, lengths, codes, counts, n);
  if (cla == nullptr)
    return VORNENC_DONE;
  uint32_t end = 0;
  cla[0] = 0;
  for (uint32_t run = 0; run < needed; ++run) {
    end += length_bits == 8 ? lengths[run] : uint32_t{lengths[2 * run]} << 8 | lengths[2 * run + 1];
    put_32(cla + run + 1, end);
  }
  return VORNENC_DONE;
}
