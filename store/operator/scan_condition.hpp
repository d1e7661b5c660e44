// Conditions of a scan that become tests of the ordinals of stored columns.
//
// A comparison with a constant is a range of ordinals.  Binary search in the dictionary finds the range, or the
// smallest key gives it.  Any other expression of one column with a dictionary is evaluated once for each code.  AND
// and OR combine two tests of one column as sets, and tests of different columns as bits of rows.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "store/evaluate/scalar_functions.hpp"
#include "store/logical/expression.hpp"
#include "store/operator/ordinal_scan.hpp"
#include "store/operator/table.hpp"

namespace store::exec {

class scan_condition {
public:
  enum class kind { single, all_of, any_of };

  // The columns of the conditions are columns of the table.  The columns that are read are loaded.  Returns nothing for
  // other conditions: a part reads several columns; a function reads a column without a dictionary, or with more than
  // `most_codes` codes; or the condition fails for a value.
  static std::optional<scan_condition> read(const logical::expression &e, table &of, std::span<const size_t> columns,
                                            scalar_functions &functions, double most_codes);
  // The rows whose ordinals in a column are in a set.  The column has a dictionary.
  static scan_condition among(const column &on, ordinal_ranges accepted) {
    return scan_condition(ordinal_scan(on, std::move(accepted)));
  }
  // The conjunction of conditions, the cheapest and most selective first.
  static scan_condition all_of(std::vector<scan_condition> parts);

  // Rows of a row group.
  struct selected {
    const uint64_t *words; // null for all rows
    uint32_t count;
  };
  // The rows on which the condition is true among some rows.  The bits lie in the arena.
  selected select(const vorn_ctx &library, size_t row_group, selected among, arena &memory) const;

  // Answers from the zones of a row group.
  ordinal_ranges::coverage covers(size_t row_group) const;
  double selectivity() const { return selectivity_; }
  // The ordinals that a column can have on the selected rows; null if the condition does not limit them.
  const ordinal_ranges *accepted_of(const column &of) const;
  std::string description() const;

private:
  friend class condition_reader;

  explicit scan_condition(ordinal_scan scan);
  scan_condition(kind what, std::vector<scan_condition> parts);
  uint32_t rows_of(size_t row_group) const;

  kind what_;
  std::shared_ptr<const ordinal_scan> scan_; // of a single one
  std::vector<scan_condition> parts_;
  double selectivity_ = 1;
  double cost_ = 0;
};

} // namespace store::exec
