// Where the columns of a table come from.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/encode/column.hpp"
#include "store/encode/encoder.hpp"
#include "store/value/column_names.hpp"

namespace store {

class table_source {
public:
  virtual ~table_source() = default;

  const std::vector<column_info> &columns() const { return infos; }
  uint64_t rows() const { return row_count; }

  // Throws store::error when there is no such column or the store does not encode its type.
  const column_info &find(std::string_view name) const { return find_column(infos, name); }

  // The name of the first file without its ending.
  const std::string &name() const { return stem; }

  // The bytes that columns take in the files; nothing for files that do not report them.
  virtual std::optional<uint64_t> compressed_bytes(const std::vector<std::string> & /*names*/) const {
    return std::nullopt;
  }

  // Can the column be stored as is chosen?  Throws store::error when not.
  virtual void check_encoding(const column_info &info, const encoding_choice &choice) const = 0;

  // A column without the streams of its batches: what codes stand for, and what the batches hold.  Nothing where the
  // source does not know this without a look at the rows.
  virtual std::optional<column> described(const column_info & /*info*/) const { return std::nullopt; }

  // A column, encoded.  Reports the rows done so far now and then.  Throws store::error for one that cannot be had, or
  // not as is chosen.
  virtual column load(const column_info &info, const encoding_choice &choice,
                      const std::function<void(uint64_t rows)> &progress) const = 0;

  // Throws store::error where columns lie in a file that was written into since it was opened.
  virtual void require_unchanged() const {}

protected:
  std::string stem;
  std::vector<column_info> infos;
  uint64_t row_count = 0;
};

} // namespace store
