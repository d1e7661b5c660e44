// The rows of one side of a join as records, which have the values of a row side by side, so that all that a joined row
// takes from this side lies together.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "store/join/prober.hpp"
#include "store/join/sizing.hpp"
#include "store/library/row_vector.hpp"
#include <vorn/aligned.hpp>
#include <vorn/vorn.h>

namespace store {

// The fields of a record: 16 bits of length, and the bytes.
class record_fields {
public:
  explicit record_fields(const uint8_t *record) : at_(record) {}

  std::string_view next() {
    uint16_t length;
    std::memcpy(&length, at_, sizeof length);
    const auto *bytes = reinterpret_cast<const char *>(at_ + sizeof length);
    at_ += sizeof length + length;
    return {bytes, length};
  }

private:
  const uint8_t *at_;
};

class record_store {
public:
  // The context outlives this.
  record_store(const vorn_ctx &ctx, uint64_t rows, const join_settings &settings);
  record_store(const record_store &) = delete;

  // Adds rows, of each field equally many, VORN_LP_SEP or VORN_FIXED.
  void append(std::span<row_vector> fields);

  // What a fetch needs, of each thread its own.
  struct room {
    std::vector<const uint8_t *> fetched;
    std::vector<uint16_t> lengths;
  };
  // The records of the table's rows of some candidates.  Good until the room is used again.
  std::span<const uint8_t *const> fetch(std::span<const candidate> rows, room &used) const;

private:
  struct reference { // VORN_LP
    uint16_t length;
    const uint8_t *at;
  };
  void add_block(uint64_t bytes);

  const vorn_ctx &ctx_;
  join_settings settings_;
  std::vector<reference> records_; // where they are; the length of a large one is cut to 16 bits and not looked at
  std::vector<vorn_host::aligned_vector<uint8_t>> blocks_;

  // Cursors of the library into the records, the last block and the fields of a call, of one partition each.
  void *next_record_;
  void *next_byte_ = nullptr;
  void *block_end_ = nullptr;
  void *fields_begin_ = nullptr;
  std::vector<reference> matrix_; // of the fields, row by row
};

} // namespace store
