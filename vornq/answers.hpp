// Answers the queries of a user, one after the other.
#pragma once

#include <string>
#include <vector>

#include "vornq/options.hpp"
#include "vornq/report.hpp"
#include "vornq/session.hpp"

namespace store {

// The results of all queries together.
struct answers {
  std::vector<answered> given;
  std::vector<std::string> tables; // the tables that they read, in the order of their first use

  // No comparison has found a difference.
  bool agree() const;
};

// Runs a query of one statement.  Shows its rows or writes them to a file, as the options say.
void answer_query(session &with, const options &chosen, const std::string &text, answers &out);

} // namespace store
