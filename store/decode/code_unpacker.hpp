// Dictionary codes of the selected rows of a batch, as plain integers.
#pragma once

#include <cstdint>
#include <cstring>

#include "store/encode/column.hpp"
#include <vorn/aligned.hpp>
#include <vorn/vorn.h>

namespace store {

class code_unpacker {
public:
  // The bytes of an unpacked code: as few as its bits take, or 4 for all.
  enum class element { least, four_bytes };

  // Context and column outlive this.
  code_unpacker(const vorn_ctx &ctx, const column &of, element form = element::least);

  // Without a filter all rows are wanted.  Batch and filter outlive the calls of next for this batch.
  void open(const batch &rows, const uint64_t *filter);

  // Unpacks the codes of the next rows; there are as many left.  The vector, which vorn_decode_symbol takes, and its
  // codes are good until the next call.
  vorn_cv &next(uint32_t count);
  uint32_t code_at(size_t index) const {
    uint32_t code = 0;
    std::memcpy(&code, codes_.data() + index * code_bytes_, code_bytes_);
    return code;
  }
  const uint32_t *codes_of_four_bytes() const { return reinterpret_cast<const uint32_t *>(codes_.data()); }

  // The packed codes of the batch.
  vorn_cv &packed() { return source_; }

private:
  const vorn_ctx &ctx_;
  const column &of_;
  uint32_t code_bytes_; // of an unpacked code
  vorn_enc_ctx encoding_;
  vorn_enc_ctx unpacked_encoding_;
  vorn_cv source_{};
  vorn_cv unpacked_{};
  vorn_aux aux_{}; // where the unpacking stands
  vorn_host::aligned_vector<uint8_t> codes_;
};

} // namespace store
