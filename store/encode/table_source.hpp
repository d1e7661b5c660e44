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

  // Throws store::error when the column cannot be stored in the chosen form.
  virtual void check_encoding(const column_info &info, const encoding_choice &choice) const = 0;

  // A column without the streams of its segments: the values of its codes, and the zones of the segments.  Nothing if
  // the source would have to read the rows for it.
  virtual std::optional<column> described(const column_info & /*info*/) const { return std::nullopt; }

  // Encodes a column.  Reports the number of encoded rows at intervals.  Throws store::error when the column cannot be
  // read, or cannot be stored in the chosen form.
  virtual column load(const column_info &info, const encoding_choice &choice,
                      const std::function<void(uint64_t rows)> &progress) const = 0;

  // Throws store::error when the file of the columns was written to after it was opened.
  virtual void require_unchanged() const {}

protected:
  std::string stem;
  std::vector<column_info> infos;
  uint64_t row_count = 0;
};

} // namespace store
