// The steps of the decoders that depend on the width of a code: codes of rows to integers.  An engine of a level is
// another set of the same steps.
#pragma once

#include <algorithm>

#include "frame/vorn.h"
#include "generic/bitvec/iterate.hpp"
#include "generic/codes.hpp"
#include "generic/decode/rle_lengths.hpp"
#include "generic/decode/symbols.hpp"

namespace vorn::inline VORN_LEVEL {

// ncodes packed codes.
struct code_stream {
  const uint8_t *bytes;
  uint64_t ncodes;
};

// A place in the runs: a run and the row behind it.  It moves forward.
class run_cursor {
public:
  explicit run_cursor(const vorn_enc_ctx &enc) : lengths_(enc.vorn_enc_ctx_rle_lens, enc.vorn_enc_ctx_rle_width) {}

  void stand_on(uint32_t run, uint32_t end) {
    run_ = run;
    end_ = end;
  }
  void move_to(uint32_t row) {
    lengths_.over([&](auto length) {
      uint32_t run = run_, end = end_;
      while (end <= row)
        end += length(++run);
      stand_on(run, end);
    });
  }

  uint32_t run() const { return run_; }
  uint32_t end() const { return end_; }
  run_lengths lengths() const { return lengths_; }

private:
  run_lengths lengths_;
  uint32_t run_ = UINT32_MAX; // before the first run
  uint32_t end_ = 0;
};

// The rows of a filter from `first` on, as many as there is room for, which is taken: take(rows, n) some at a time.
// Returns the last row that was looked at: the one for which there was no room behind it, or the last of all.
template <class Take>
uint32_t walk_filter(const uint64_t *filter, uint32_t nrows, uint32_t first, uint32_t &room, Take take) {
  vorn_lbiwv_ictx selected = iterator_over(filter, nrows, wanted::set, first);
  constexpr uint32_t batch_size = 256;
  uint32_t batch[batch_size];
  uint32_t last = first - 1;
  while (room != 0) {
    const uint32_t requested = std::min(room, batch_size);
    const uint32_t fetched = next_ones(selected, batch, requested);
    take(batch, fetched);
    room -= fetched;
    if (fetched < requested)
      return nrows - 1;
    last = batch[fetched - 1]; // a full batch stops on its row, even on the last one
  }
  return last;
}

// Codes of W bits to elements of 1, 2 or 4 bytes.
template <unsigned W, class Element>
struct code_steps {
  // The codes from `first` on, n of them.
  [[gnu::noinline]] static void range(const code_stream &stream, uint64_t first, uint32_t n, void *elements) {
    auto *out = static_cast<Element *>(elements);
    if constexpr (W == 8 && sizeof(Element) == 1) {
      std::memcpy(out, stream.bytes + first, n);
    } else {
      const uint32_t head = start_of_range(stream, first, n, out);
      const uint8_t *block = stream.bytes + (first + head) / 8 * W;
      n -= head;
      out += head;
      for (; n >= 64; n -= 64, block += 8 * W, out += 64)
        unpack_block(block, out);
      if (n != 0) {
        Element rest[64];
        unpack_block(last_block<W>(block, n).bytes, rest);
        std::copy_n(rest, n, out);
      }
    }
  }

  // The codes at a list of n places.
  [[gnu::noinline]] static void list(const code_stream &stream, const uint32_t *places, uint32_t n, void *elements) {
    const code_reader<W> codes(stream.bytes, stream.ncodes);
    auto *out = static_cast<Element *>(elements);
    for (uint32_t i = 0; i < n; ++i)
      out[i] = static_cast<Element>(codes.at(places[i]));
  }

  // The codes of the rows of a filter, as walk_filter has them.
  [[gnu::noinline]] static uint32_t filter(const code_stream &stream, const uint64_t *rows, uint32_t first,
                                           uint32_t &room, void *elements) {
    auto *out = static_cast<Element *>(elements);
    return walk_filter(rows, static_cast<uint32_t>(stream.ncodes), first, room,
                       [&](const uint32_t *places, uint32_t n) {
                         list(stream, places, n, out);
                         out += n;
                       });
  }

  // The addresses of the values of the codes at a list of n places, where all values have one length.
  [[gnu::noinline]] static void addresses(const code_stream &stream, const uint32_t *places, uint32_t n,
                                          const equal_symbols &symbols, const uint8_t **vals) {
    const code_reader<W> codes(stream.bytes, stream.ncodes);
    const equal_symbols values = symbols; // in registers
    for (uint32_t i = 0; i < n; ++i)
      vals[i] = values.address(static_cast<uint32_t>(codes.at(places[i])));
  }

  // The codes of a list of n rows, ascending, where there is one code per run.
  [[gnu::noinline]] static void list_over_runs(const code_stream &stream, run_cursor &cursor, const uint32_t *rows,
                                               uint32_t n, void *elements) {
    const code_reader<W> codes(stream.bytes, stream.ncodes);
    auto *out = static_cast<Element *>(elements);
    run_cursor place = cursor; // in registers: out may be the cursor as far as the compiler knows
    Element code = n != 0 && place.end() != 0 ? static_cast<Element>(codes.at(place.run())) : Element{0};
    for (uint32_t i = 0; i < n; ++i) {
      if (rows[i] >= place.end()) {
        place.move_to(rows[i]);
        code = static_cast<Element>(codes.at(place.run()));
      }
      out[i] = code;
    }
    cursor = place;
  }

protected:
  // The codes up to the first one that begins with a byte, where blocks can begin.  Returns how many these are.
  static uint32_t start_of_range(const code_stream &stream, uint64_t first, uint32_t n, Element *out) {
    const code_reader<W> codes(stream.bytes, stream.ncodes);
    const auto head = static_cast<uint32_t>(std::min<uint64_t>(-first % 8, n));
    for (uint32_t i = 0; i < head; ++i)
      out[i] = static_cast<Element>(codes.at(first + i));
    return head;
  }

private:
  [[gnu::noinline]] static void unpack_block(const uint8_t *block, Element *out) { unpack64<W>(block, out); }
};

} // namespace vorn::inline VORN_LEVEL
