// Evaluation of conditions over encoded columns, a batch of rows at a time.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "store/arrow/selection.hpp"
#include "store/encode/column.hpp"
#include "store/query/ordinal_test.hpp"
#include "store/run/execution.hpp"
#include <vorn/vorn.h>

namespace store {

// The rows of `among` that satisfy a test; of all rows when it is null.  The memory of `out`, which is not `among`, is
// reused.  The library is called for the batches that their zone leaves open.
void filter(const execution &run, const column &on, const ordinal_test &test, const selection *among, selection &out);

// Throws store::error when an encoding has no predicates.
void check_searchable(std::string_view column_name, encoding form);

// A condition bound to its columns.
class query {
public:
  // The columns outlive this.  Throws store::error when a constant is not of its column's type, and for a column that
  // cannot be searched.
  query(const expression &asked, const column_map &columns);

  // The rows on which the condition is true.
  void run(const execution &on, selection &out) const { run(root_, on, nullptr, out); }

private:
  // Negations are in the tests.  Where all of some parts have to hold, the result of one is the filter of the next, and
  // those over runs come first, since these take no filter.
  struct part {
    expression::kind what = expression::kind::single;
    const column *on = nullptr; // of a single one
    ordinal_test test;
    std::vector<part> parts;
  };
  // Alternatives that ask the same column become one where they can.
  static void unite(std::vector<part> &parts);
  static part bound(const expression &e, bool is_false, const column_map &columns);
  static void run(const part &p, const execution &on, const selection *among, selection &out);

  part root_;
};

} // namespace store
