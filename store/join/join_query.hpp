// A join with its condition: what the condition asks of one table only is evaluated before the join on that table's
// compressed columns.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "store/join/hash_join.hpp"
#include "store/query/condition.hpp"
#include "store/query/filter.hpp"

namespace store {

// Throws store::error for columns whose values are not of one kind, which the store does not compare.
void check_joinable(const column_info &first, const column_info &second);

struct join_keys {
  std::string first;
  std::string second;
};

class join_query {
public:
  // The columns of both tables, which outlive this, have names of their own.  Without a condition all joined rows are
  // asked for.  Throws store::error as query does.
  join_query(const join_keys &keys, const expression *asked, const column_map &first, const column_map &second);

  // Joins only those rows of a table, among selected ones or all, that something else selects too, which is asked while
  // a join begins.
  using row_filter = std::function<selection(const selection *among)>;
  void narrow(bool of_second, row_filter further) { narrowed_[of_second] = std::move(further); }

  // The joined rows on which the condition is true, for one thread.  Context and columns outlive them.
  std::unique_ptr<hash_join> run(const execution &on, std::span<const output_column> columns,
                                 const join_settings &settings) const;

  // What of it is there without a join: does the condition ask something of both tables at once, the rows of a table on
  // which its part of the condition is true and no key is NULL, nothing for all, and the key of a table.
  bool asks_both() const { return !mixed_.empty(); }
  std::optional<selection> filtered(const execution &on, bool of_second) const;
  const column &key(bool of_second) const { return of_second ? second_key_ : first_key_; }

private:
  // What is asked of both tables, by the rows of one on which parts of it are true.
  struct part {
    expression::kind what = expression::kind::single;
    size_t question = 0; // of a single one
    std::vector<part> parts;
  };
  struct question {
    bool of_second = false; // table
    query asked;
  };

  struct answer {
    bool of_second = false;
    selection rows; // of the table
  };

  bool asks(const expression &e, bool of_second) const;
  void split(const expression &e, bool is_false);
  part bound(const expression &e, bool is_false);
  static bool holds(const part &p, const std::vector<answer> &answers, const joined_row &row);

  const column_map &first_;
  const column_map &second_;
  const column &first_key_;
  const column &second_key_;
  std::vector<expression> filters_[2]; // all of which a row of the table satisfies
  row_filter narrowed_[2];
  std::vector<part> mixed_; // all of which joined rows satisfy
  std::vector<question> questions_;
};

} // namespace store
