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

  const vorn_ctx &ctx_;
  const column &of_;
  const dictionary &entries_;
  code_unpacker unpacker_;

  // The batch.
  bool by_list_ = false;
  row_cursor cursor_;

  // The results of a call.
  std::vector<const uint8_t *> symbols_;
  std::vector<uint16_t> lengths_;
  std::vector<uint16_t> flags_;
};

} // namespace store
