// Random tables with columns of every type that the store holds, with NULLs and the ends of each type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "store/encode/encoder.hpp"
#include "tests/store/scratch_folder.hpp"

namespace vorn_test {

struct dice {
  std::mt19937_64 random;

  // Numbers that hang on all of these.
  dice(uint64_t seed, uint64_t first, uint64_t second) {
    std::seed_seq all{seed, first, second};
    random.seed(all);
  }
  uint64_t below(uint64_t bound) { return random() % bound; }
  bool one_in(uint64_t n) { return below(n) == 0; }
  template <class Choices>
  const auto &of(const Choices &choices) {
    return choices[below(std::size(choices))];
  }
  template <class Choice>
  Choice of(std::initializer_list<Choice> choices) {
    return choices.begin()[below(choices.size())];
  }
};

// Types whose values compare with each other and take the same functions.
enum class family { boolean, number, real, text, blob, day, clock, moment, nano, instant, id };

// How much a sum depends on the order of additions: not, a little, or entirely.
enum class summed { exactly, rounded, never };

// A column of a table, or an expression that stands like one in a query.
struct random_column {
  std::string sql; // as a query names it
  family of = family::number;
  bool is_small = false; // numbers: products of two are inside their type
  summed sum = summed::exactly;
  bool has_both_zeros = false;             // reals: -0.0 and 0.0
  bool is_any_zero = false;                // reals: one of them may stand for the other, as in a group
  double distinct = 1;                     // values, about
  double nulls = 0;                        // the share of rows
  std::string key = {};                    // the same of columns of several tables that have the same values
  std::vector<std::string> constants = {}; // of the type: some of its values, as SQL
};

struct random_table {
  std::string name;
  std::string made; // as SQL that selects the rows
  std::vector<random_column> columns;
  double rows = 0;
};

struct random_database {
  // A long one, two shorter ones, and one of few rows or none.
  std::vector<random_table> tables;
  // How columns are stored, by their names; others are stored as they come out best.
  std::map<std::string, std::string> encodings;
};

random_database random_tables(dice &random);

// Writes each table to a Parquet file of its name, and gives its columns some of their values as constants.  Returns
// how columns are to be stored.
store::choice_map write_tables(const scratch_folder &folder, random_database &made);

} // namespace vorn_test
