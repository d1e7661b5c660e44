// The names by which a query knows the columns of one table, or of two that are joined.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "store/value/value.hpp"

namespace store {

// SQL makes no difference between upper and lower case.
bool alike(std::string_view a, std::string_view b);

// Names the columns of two tables so that no two have one name: a column keeps its name where no other column has it.
// Otherwise its name becomes table.column.  Throws store::error where this does not help.
void disambiguate(std::vector<column_info> &first, std::string_view first_table, std::vector<column_info> &second,
                  std::string_view second_table);

class column_names {
public:
  // The columns outlive this.  A table has a name only beside another one.  disambiguate named both.
  column_names(const std::vector<column_info> &columns) { add(columns, ""); } // NOLINT(google-explicit-constructor)
  column_names(const std::vector<column_info> &columns, std::string_view table) { add(columns, table); }

  // Adds the columns of a table, each by its name.  Beside another table it adds the name in the file, with and without
  // the name of the table.
  void add(const std::vector<column_info> &columns, std::string_view table);

  // Finds a column by its name, without regard to case when no name is equal and only one is alike.  Throws
  // store::error when there is none, there are several, or the store does not encode its type.
  const column_info &find(std::string_view name) const;

  // A column of the first table that the store encodes.  Throws store::error when there is none.
  const column_info &any() const;

  struct known_name {
    std::string name;
    const column_info *means;
  };
  const std::vector<known_name> &known() const { return names_; }
  const std::vector<const column_info *> &columns() const { return all_; }

private:
  std::vector<known_name> names_;
  std::vector<const column_info *> all_;
};

} // namespace store
