// The keys of one side of a join: the bytes and the hash values of a column, some thousand rows at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "store/decode/code_unpacker.hpp"
#include "store/decode/row_reader.hpp"
#include "store/decode/row_steps.hpp"
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
    steps.go_to(batch);
    if (values)
      values->go_to(batch);
  }

  // Are equal keys known by their code?  The number of codes, or 0.
  uint64_t distinct_codes() const { return symbol_hashes.size(); }
  uint32_t code(uint64_t row) const { return codes[row] == negative_zero ? codes[row] + 1 : codes[row]; }

  // The key of one of those rows.
  std::string_view key(uint64_t row) const { return by_code ? symbols[codes[row]] : symbols[row]; }

private:
  void hash(std::vector<uint64_t> &out) const; // the symbols

  const vorn_ctx &ctx;
  const column &of;
  bool by_code;
  value_bytes symbols; // of the dictionary, or of the rows
  std::vector<uint64_t> hashes;

  // By code.
  row_steps steps;
  std::optional<code_unpacker> unpacker;
  std::vector<uint64_t> symbol_hashes;
  const uint32_t *codes = nullptr;     // of the rows
  uint32_t negative_zero = UINT32_MAX; // the code of -0 before that of 0, since both are one key

  std::optional<row_reader> values; // not by code
};

} // namespace store
