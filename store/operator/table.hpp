// A table for operators.  Its columns are loaded when a query first reads them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/chunk/coded_values.hpp"
#include "store/encode/column.hpp"
#include "store/error.hpp"
#include "store/value/value.hpp"

namespace store::exec {

class table {
public:
  // Returns the encoded column of a number.
  using loader = std::function<std::shared_ptr<const column>(size_t)>;

  table(std::string name, std::vector<column_info> columns, uint64_t rows, loader load)
      : name_(std::move(name)), infos_(std::move(columns)), rows_(rows), load_(std::move(load)),
        columns_(infos_.size()), values_(infos_.size()) {}
  // A table of which only the numbers of rows and of different values of each column are known.  Queries on it are
  // planned and not run.
  table(const std::string &name, std::vector<column_info> columns, uint64_t rows, std::vector<uint64_t> distinct)
      : table(name, std::move(columns), rows, [name](size_t) -> std::shared_ptr<const store::column> {
          throw error(fmt::format("the table '{}' has no rows: queries on it are only planned", shortened(name)));
        }) {
    distinct_ = std::move(distinct);
  }
  table(const table &) = delete;

  const std::string &name() const { return name_; }
  const std::vector<column_info> &columns() const { return infos_; }
  uint64_t rows() const { return rows_; }

  // The column, loaded.  Throws store::error when it cannot be loaded.  Several threads may call this at once.  One of
  // them loads the column.
  const store::column &at(size_t index) {
    const std::lock_guard lock(guard_);
    return loaded(index);
  }
  // The values of the dictionary of a column; null without a dictionary.
  std::shared_ptr<const coded_values> values_of(size_t index) {
    const std::lock_guard lock(guard_);
    const auto *entries = std::get_if<dictionary>(&loaded(index).values);
    if (entries != nullptr && !values_[index])
      values_[index] = std::make_shared<coded_values>(std::shared_ptr<const dictionary>(columns_[index], entries),
                                                      columns_[index]->type);
    return values_[index];
  }
  bool is_described() const { return !distinct_.empty(); }
  // How many different values a column has, as far as this is known; otherwise 0.
  uint64_t distinct_values(size_t index) const {
    if (is_described())
      return distinct_[index];
    return is_loaded(index) ? columns_[index]->most_distinct() : 0;
  }
  bool is_loaded(size_t index) const {
    const std::lock_guard lock(guard_);
    return columns_[index] != nullptr;
  }

private:
  const store::column &loaded(size_t index) {
    if (!columns_[index])
      columns_[index] = load_(index);
    return *columns_[index];
  }

  std::string name_;
  std::vector<column_info> infos_;
  uint64_t rows_;
  loader load_;
  std::vector<uint64_t> distinct_; // of a table of which nothing else is known
  mutable std::mutex guard_;       // of what follows
  std::vector<std::shared_ptr<const store::column>> columns_;
  std::vector<std::shared_ptr<const coded_values>> values_;
};

} // namespace store::exec
