// Conditions as a user of vornq writes them, and their SQL.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/query/condition.hpp"
#include "store/value/column_names.hpp"

namespace store {

struct condition : expression {
  std::string sql; // for DuckDB, which reads the constants by itself
  std::vector<std::string> columns;
};

// Reads "origin = ATL and (delay between 10 and 60 or not date < 2001-02-01)".  The forms of a condition are
//
//     column op value                  op is one of = <> != < <= > >=
//     column between low and high      bounds included
//     column between [low, high)       a square bracket includes its bound, a round one does not: all four forms
//     column in [low, high)            the same, except two round brackets, which hold a list
//     column in (value, ...)
//     column like pattern
//     column is null
//
// with "not" before between, in, like and null, joined by and, or, not and brackets.  A column may stand in double
// quotes and a value in single ones; a quote inside is doubled.  E'...' is a value with the escapes \\ \' \n \t \r and
// \xHH. Without quotes a value is one word, but a timestamp may have a time after its date; a number is one of SQL,
// and the word null is NULL.  The SQL is the text itself with names and words put in quotes.  Throws store::error that
// names what is wrong and where, and for a column that is not there or that the store does not encode.
condition parse_condition(std::string_view text, const column_names &names);

// Reads "origin, delay"; a column may stand in double quotes as above, and * is all that the store encodes.
std::vector<std::string> parse_columns(std::string_view text, const column_names &names);

// Reads "name, name desc", where a name may stand in double quotes and asc is the other direction.
struct directed_name {
  std::string name;
  bool descending = false;
};
std::vector<directed_name> parse_directions(std::string_view text);

// Reads "name=name", where both names may stand in double quotes.
std::pair<std::string, std::string> parse_equality(std::string_view text);

// Reads "column=word" to the two; the column may stand in double quotes.
std::pair<std::string, std::string> parse_assignment(std::string_view text);

} // namespace store
