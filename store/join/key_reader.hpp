// The keys of one side of a join: the bytes and the hash values of a column, some thousand rows at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "store/decode/code_reader.hpp"
#include "store/decode/row_reader.hpp"
#include "store/join/value_bytes.hpp"
#include <vorn/vorn.h>

namespace store {

// A symbol of a dictionary is hashed once and its rows look the hash value up by their codes, since most symbols stand
// in many rows and none in fewer than one.  vorn_hash reads codes too, but would hash a symbol for each row, takes no
// filter and knows no runs.
class key_reader {
public:
  // Context, column and selection outlive this.  No selected row is NULL.
  key_reader(const vorn_ctx &ctx, const column &of, const selection *rows);

  // The hash values of the next rows; of none at the end.  Good until the next call.
  std::span<const uint64_t> next();

  void go_to(size_t batch) {
    if (by_code_)
      codes_->go_to(batch);
    else
      values_->go_to(batch);
  }

  // Are equal keys known by their code?  The number of codes, or 0.
  uint64_t distinct_codes() const { return symbol_hashes_.size(); }
  uint32_t code(uint64_t row) const { return step_[row] == negative_zero_ ? step_[row] + 1 : step_[row]; }

  // The key of one of those rows.
  std::string_view key(uint64_t row) const { return by_code_ ? symbols_[step_[row]] : symbols_[row]; }

private:
  void hash(std::vector<uint64_t> &out) const; // the symbols

  const vorn_ctx &ctx_;
  const column &of_;
  bool by_code_;
  value_bytes symbols_; // of the dictionary, or of the rows
  std::vector<uint64_t> hashes_;

  // By code.
  std::optional<code_reader> codes_;
  std::span<const uint32_t> step_; // the codes of those rows
  std::vector<uint64_t> symbol_hashes_;
  uint32_t negative_zero_ = UINT32_MAX; // the code of -0 before that of 0, since both are one key

  std::optional<row_reader> values_; // not by code
};

} // namespace store
