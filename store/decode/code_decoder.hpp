// Values of dictionary codes, of rows or runs, by the library's decoders.
#pragma once

#include <vector>

#include "store/decode/batch_decoder.hpp"
#include "store/decode/code_unpacker.hpp"
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
  void check(const vorn_cv &result, uint32_t code, uint32_t count) const;

  const vorn_ctx &ctx;
  const column &of;
  const dictionary &entries;
  code_unpacker unpacker;

  // The batch.
  bool by_list = false;
  row_cursor cursor;

  // The results of a call.
  std::vector<const uint8_t *> symbols;
  std::vector<uint16_t> lengths;
  std::vector<uint16_t> flags;
};

} // namespace store
