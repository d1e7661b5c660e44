// Answers the queries of a user, one after the other.
#pragma once

#include <string>
#include <vector>

#include "vornq/options.hpp"
#include "vornq/report.hpp"
#include "vornq/session.hpp"

namespace store {

// What all queries together have led to.
struct answers {
  std::vector<answered> given;
  std::vector<std::string> tables; // that they read, in the order of their first use

  // No comparison has found a difference.
  bool agree() const;
};

// Runs a query, which is one statement, and shows its rows or writes them to a file, as is asked for.
void answer_query(session &with, const options &chosen, const std::string &text, answers &out);

} // namespace store
