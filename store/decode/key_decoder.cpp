#include "store/decode/key_decoder.hpp"

#include <fmt/format.h>

#include "store/encode/big_endian.hpp"
#include "store/error.hpp"

namespace store {

namespace {

int64_t key_of(const column &of, uint64_t ordinal) {
  return static_cast<int64_t>(static_cast<uint64_t>(std::get<key_range>(of.values).low) + ordinal);
}

} // namespace

const uint8_t *bytes_of_lengths(const column &of) {
  return of.width == 16   ? vorn_length_consumed_dynp_8bit_idx_maxwidth2
         : of.width == 32 ? vorn_length_consumed_dynp_8bit_idx_maxwidth4
                          : vorn_length_consumed_dynp_8bit_idx_maxwidth8;
}

const uint8_t *plain_stream(const vorn_ctx &ctx, const column &of, const batch &rows) {
  if (!of.compressed)
    return rows.stream.data();
  if (rows.decompressed == nullptr) {
    constexpr uint32_t padding = 16;
    void *memory = ctx.vorn_ctx_alloc(ctx.vorn_ctx_env, ctx.vorn_ctx_heap, rows.stream_bytes, "decompressed stream",
                                      vorn_host::cache_line, padding, 0);
    vorn_qpak_ctx decoder = {ctx.vorn_ctx_env, ctx.vorn_ctx_heap, ctx.vorn_ctx_stack_alloc, ctx.vorn_ctx_stack_free, 0};
    uint32_t written = 0;
    if (ctx.vorn_ctx_decompress(&decoder, rows.stream.data(), memory, &written, rows.stream_bytes) != 0)
      throw error(fmt::format("cannot decompress column '{}'", of.name));
    rows.decompressed = memory;
  }
  return static_cast<const uint8_t *>(rows.decompressed);
}

int64_t stored_key(const column &of, const uint8_t *bytes, uint32_t count) {
  return key_of(of, read_big_endian(bytes, count));
}

void fixed_decoder::open(const batch &rows, const uint64_t *filter, uint32_t /*count*/) {
  stream_ = plain_stream(ctx_, of_, rows);
  cursor_.open(rows, filter);
}

void fixed_decoder::next(std::span<cell> out) {
  const uint32_t stride = of_.width / 8;
  const std::span<uint32_t> rows = cursor_.next(out.size());
  for (size_t i = 0; i < out.size(); ++i)
    out[i] = stored_key(of_, stream_ + size_t{rows[i]} * stride, stride);
}

dynp_decoder::dynp_decoder(const vorn_ctx &ctx, const column &of)
    : ctx_(ctx), of_(of), lengths_per_byte_(8 / length_code_bits(of_.width)), bytes_by_lengths_(bytes_of_lengths(of_)) {
}

void dynp_decoder::open(const batch &rows, const uint64_t *filter, uint32_t /*count*/) {
  current_ = &rows;
  at_row_ = 0;
  at_ = plain_stream(ctx_, of_, rows);
  cursor_.open(rows, filter);
}

void dynp_decoder::next(std::span<cell> out) {
  const std::span<uint32_t> rows = cursor_.next(out.size());
  for (size_t i = 0; i < out.size(); ++i) {
    move_to(rows[i]);
    // The value lacks its trailing zero bytes.
    const uint32_t length = length_of(at_row_);
    out[i] = key_of(of_, read_big_endian(at_, length) << (of_.width - 8 * length));
  }
}

uint32_t dynp_decoder::length_of(uint32_t row) const {
  const uint32_t bits = length_code_bits(of_.width);
  const uint32_t shift = (lengths_per_byte_ - 1 - row % lengths_per_byte_) * bits;
  return (current_->lens[row / lengths_per_byte_] >> shift & ((1U << bits) - 1)) + 1;
}

void dynp_decoder::move_to(uint32_t row) {
  while (at_row_ < row)
    if (at_row_ % lengths_per_byte_ == 0 && row - at_row_ >= lengths_per_byte_) {
      at_ += bytes_by_lengths_[current_->lens[at_row_ / lengths_per_byte_]];
      at_row_ += lengths_per_byte_;
    } else {
      at_ += length_of(at_row_);
      ++at_row_;
    }
}

} // namespace store
