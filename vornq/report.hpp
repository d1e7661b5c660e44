// What vornq prints about columns, answers and plans.
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

// An answer with what is known about it.
struct answered {
  std::string question;
  uint64_t rows = 0;
  std::optional<comparison> compared = {};
  std::vector<measurement> times = {};
};

// The columns of a table, with those that are loaded as they are stored, and the reasons of others.  With `all` they
// are loaded first.
std::string described_table(session &with, const std::string &name, bool all);

// What became of a comparison, as a line.
std::string described(const comparison &of, uint64_t rows);

// What operators did, as a tree.  The same operators, observed in another run, tell the kernels.
std::string explained(const exec::relation &ran, const exec::relation &observed);

// The times of one query, and of what they are.
std::string times_of(session &with, std::span<const measurement> times);

// What was gained: the sizes of the columns that are loaded, in the files too where these tell, and the times.
std::string summary_of(session &with, std::span<const std::string> tables, std::span<const answered> answers);

} // namespace store
