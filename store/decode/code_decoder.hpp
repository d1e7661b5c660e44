// Values of dictionary codes, of rows or runs, by the library's decoders.
#pragma once

#include <vector>

#include "store/decode/batch_decoder.hpp"
#include "store/decode/row_cursor.hpp"
#include <vorn/vorn.h>

namespace store {

class code_decoder final : public batch_decoder {
public:
  // Context and column outlive this.
  code_decoder(const vorn_ctx &ctx, const column &of);

  void open(const batch &rows, const uint64_t *filter, uint32_t count) override;
  void next(std::span<cell> out) override;

private:
  void decode_list(uint32_t count);
  void unpack_and_decode(uint32_t count);
  void check(const vorn_cv &result, uint32_t code, uint32_t count) const;
  uint32_t code_at(uint32_t index) const;

  const vorn_ctx &ctx;
  const column &of;
  const dictionary &entries;
  uint32_t code_bytes; // of an unpacked code
  vorn_enc_ctx encoding;
  vorn_enc_ctx unpacked_encoding;

  // The batch.
  vorn_cv source{};
  vorn_aux aux{}; // where the unpacking stands
  bool by_list = false;
  row_cursor cursor;

  // The results of a call.
  aligned_vector<uint8_t> codes;
  std::vector<const uint8_t *> symbols;
  std::vector<uint16_t> lengths;
  std::vector<uint16_t> flags;
};

} // namespace store
