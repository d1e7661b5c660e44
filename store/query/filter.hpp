// Evaluation of conditions over encoded columns, a batch of rows at a time.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "store/encode/column.hpp"
#include "store/query/ordinal_test.hpp"
#include "store/query/selection.hpp"
#include <vorn/vorn.h>

namespace store {

// The rows of `among` that satisfy a test; of all rows when it is null.  The memory of `out`, which is not `among`, is
// reused.  The library is called for the batches that their zone leaves open.
void filter(const vorn_ctx &ctx, const column &on, const ordinal_test &test, const selection *among, selection &out);

using column_map = std::map<std::string, column, std::less<>>;

// The conjunction of the conditions.
std::string to_sql(const conjunction &conditions, const column_map &columns);

// Throws store::error when an encoding has no predicates.
void check_searchable(std::string_view column_name, encoding form);

// Conditions bound to their columns.
class query {
public:
  // The columns outlive this.  Throws store::error when a constant is not of its column's kind, and for a column that
  // cannot be searched.
  query(const conjunction &conditions, const column_map &columns);

  // The rows on which all conditions hold.  The result of one is the filter of the next.
  void run(const vorn_ctx &ctx, selection &out) const;

private:
  struct part {
    const column *on;
    ordinal_test test;
  };
  std::vector<part> parts; // those over runs first, since these take no filter
};

} // namespace store
