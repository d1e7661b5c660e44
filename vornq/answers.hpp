// The answers that vornq gives, each as it is found.
#pragma once

#include <cstdint>
#include <vector>

#include "store/library/kernels.hpp"
#include "vornq/options.hpp"
#include "vornq/questions.hpp"
#include "vornq/report.hpp"
#include "vornq/tables.hpp"

namespace store {

// The tables with what answers questions about them.
struct session {
  const options &chosen;
  kernels &library;
  worker_pool &threads;
  const tables &from;
  const questions &asked;
  const reference checker;

  bool as_table() const { return chosen.format == row_format::table; }
  // One run is enough to trace, and to show.
  measuring how(const reference *compressed = nullptr) const {
    return {library,       threads, checker, compressed, chosen.more.trace || !as_table() ? 1 : chosen.repetitions,
            chosen.explain};
  }
};

// Counts what the conditions, the join or the groups select, with the generic and the chosen kernels and with DuckDB.
std::vector<answered> answer_all(const session &s);

// Shows rows or groups, and says whether they are DuckDB's.
bool show(const session &s);

} // namespace store
