// Conditions of a scan that become questions about the ordinals of stored columns.
//
// A comparison with a constant is a range, found by binary search in the dictionary or by the smallest key.  Any other
// expression of one column with a dictionary is evaluated once for each code.  AND and OR of such questions combine
// sets where both ask one column, and bits of rows where they do not.
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

  // The columns of the conditions are columns of the table.  The columns that are read are loaded.  Nothing where the
  // condition is no such question: it reads several columns in one part, a column without a dictionary in a function,
  // or a dictionary with more than `most_codes` codes in a function, or it fails on a value.
  static std::optional<scan_condition> read(const logical::expression &e, table &of, std::span<const size_t> columns,
                                            scalar_functions &functions, double most_codes);
  // The rows whose ordinals in a column are in a set.  The column has a dictionary.
  static scan_condition among(const column &on, ordinal_ranges accepted) {
    return scan_condition(ordinal_scan(on, std::move(accepted)));
  }
  // All of some conditions, the cheapest and most selective first.
  static scan_condition all_of(std::vector<scan_condition> parts);

  // Rows of a row group.
  struct selected {
    const uint64_t *words; // null for all rows
    uint32_t count;
  };
  // The rows on which the condition is true among some rows.  The bits lie in the arena.
  selected select(const vorn_ctx &library, size_t row_group, selected among, arena &memory) const;

  // What the zones of a row group tell.
  ordinal_ranges::coverage covers(size_t row_group) const;
  double selectivity() const { return selectivity_; }
  // The ordinals that a column has on the selected rows; null where the condition does not say.
  const ordinal_ranges *accepted_of(const column &of) const;
  std::string description() const;

private:
  friend class condition_reader;

  explicit scan_condition(ordinal_scan asked);
  scan_condition(kind what, std::vector<scan_condition> parts);
  uint32_t rows_of(size_t row_group) const;

  kind what_;
  std::shared_ptr<const ordinal_scan> scan_; // of a single one
  std::vector<scan_condition> parts_;
  double selectivity_ = 1;
  double cost_ = 0;
};

} // namespace store::exec
