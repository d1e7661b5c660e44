// Keys that are stored themselves, as fixed or dynp.  The library has no decoder for them, so the store reads them.
#pragma once

#include "store/decode/batch_decoder.hpp"
#include "store/decode/row_cursor.hpp"
#include <vorn/vorn.h>

namespace store {

// The key whose ordinal in the column has these bytes, the most significant one first.
int64_t stored_key(const column &of, const uint8_t *bytes, uint32_t count);

// Bytes of the values whose length codes make up a byte, by that byte, of a column of dynp.
const uint8_t *bytes_of_lengths(const column &of);

// The value stream of a batch as it was before compression.  What is decompressed is kept where the library keeps it.
// Throws store::error when it cannot be decompressed.
const uint8_t *plain_stream(const vorn_ctx &ctx, const column &of, const batch &rows);

class fixed_decoder final : public batch_decoder {
public:
  // Context and column outlive this.
  fixed_decoder(const vorn_ctx &ctx, const column &of) : ctx_(ctx), of_(of) {}

  void open(const batch &rows, const uint64_t *filter, uint32_t count) override;
  void next(std::span<cell> out) override;

private:
  const vorn_ctx &ctx_;
  const column &of_;
  const uint8_t *stream_ = nullptr;
  row_cursor cursor_;
};

class dynp_decoder final : public batch_decoder {
public:
  // Context and column outlive this.
  dynp_decoder(const vorn_ctx &ctx, const column &of);

  void open(const batch &rows, const uint64_t *filter, uint32_t count) override;
  void next(std::span<cell> out) override;

private:
  uint32_t length_of(uint32_t row) const;
  void move_to(uint32_t row);

  const vorn_ctx &ctx_;
  const column &of_;
  uint32_t lengths_per_byte_;
  const uint8_t *bytes_by_lengths_;
  const batch *current_ = nullptr;
  row_cursor cursor_;

  // Where the walk along the values stands: a row, and its value.
  uint32_t at_row_ = 0;
  const uint8_t *at_ = nullptr;
};

} // namespace store
