// Texts of vornq about columns, answers and plans.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "vornq/compare.hpp"
#include "vornq/measure.hpp"
#include "vornq/session.hpp"

namespace store {

// An answer with its comparison and times.
struct answered {
  std::string query;
  uint64_t rows = 0;
  std::optional<comparison> compared = {};
  std::vector<measurement> times = {};
};

// The columns of a table.  A loaded column has its stored form, another column the reason why it is not loaded.  With
// `all` the columns are loaded first.
std::string described_table(session &with, const std::string &name, bool all);

// The result of a comparison in one line.
std::string described(const comparison &of, uint64_t rows);

// The times of one query, with their engines.
std::string times_of(session &with, std::span<const measurement> times);

// A summary: the sizes of the loaded columns in memory and, if known, in the files, and the times.
std::string summary_of(session &with, std::span<const std::string> tables, std::span<const answered> answers);

} // namespace store
