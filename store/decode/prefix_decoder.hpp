// Values of prefix-compressed columns, by the library's decoder.
#pragma once

#include <vector>

#include "store/decode/batch_decoder.hpp"
#include "store/decode/row_cursor.hpp"
#include <vorn/vorn.h>

namespace store {

class prefix_decoder final : public batch_decoder {
public:
  // Context and column outlive this.
  prefix_decoder(const vorn_ctx &ctx, const column &of) : ctx_(ctx), of_(of) {}

  // Decodes the whole batch, whichever rows are wanted: the library knows groups only.
  void open(const batch &rows, const uint64_t *filter, uint32_t count) override;
  void next(std::span<cell> out) override;

private:
  const vorn_ctx &ctx_;
  const column &of_;
  std::vector<uint8_t> values_;
  row_cursor cursor_;
};

} // namespace store
