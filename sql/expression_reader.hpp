// Reads expressions of DuckDB's plan from JSON.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include <nlohmann/json_fwd.hpp>

#include "store/logical/expression.hpp"

namespace store::sql {

// A part of a query that the store cannot execute, with its position in the text in bytes.
struct missing_part {
  std::string what; // "window functions"
  std::string name; // "row_number"; perhaps empty
  std::optional<uint32_t> location;
};

class expression_reader {
public:
  // `fold` returns the value of an expression without columns, or nothing if it has no value or fails.
  using folder = std::function<std::optional<logical::scalar>(const logical::expression &)>;
  // `is_volatile` returns true for a function that gives another value at each call.
  expression_reader(std::function<bool(const std::string &)> is_volatile, folder fold)
      : is_volatile_(std::move(is_volatile)), fold_(std::move(fold)) {}

  // The expression and all its parts have their SQL text.  Throws missing_part.
  logical::expression read(const nlohmann::json &from) const;
  // The same, for a type that the store holds.
  logical::expression read_held(const nlohmann::json &from) const;

  // A value in the JSON of a plan, with its type.
  static logical::expression constant(const nlohmann::json &value);
  static logical::sql_type type(const nlohmann::json &from);
  static std::optional<uint32_t> location(const nlohmann::json &from);

private:
  logical::expression parsed(const nlohmann::json &from) const;
  logical::expression parsed_function(const nlohmann::json &from) const;
  logical::expression parsed_operator(const nlohmann::json &from) const;
  void fold(logical::expression &e) const;

  std::function<bool(const std::string &)> is_volatile_;
  folder fold_;
};

// The operation of a name such as "COMPARE_EQUAL".
logical::operation comparison_of(const std::string &name);

} // namespace store::sql
