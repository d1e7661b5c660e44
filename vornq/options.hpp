// What a user of vornq asks for.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "store/library/kernels.hpp"
#include "store/plan/grouping.hpp"
#include "vornq/row_writer.hpp"

namespace store {

struct options {
  std::vector<std::filesystem::path> files;
  std::optional<std::string> join;
  std::vector<std::string> conditions;
  std::optional<std::string> selected_columns;
  std::optional<std::string> group_columns;
  std::vector<std::pair<function, std::string>> aggregates; // with their columns, in the order that they are given in
  std::optional<std::string> polygon_file;
  std::optional<std::string> order;
  row_format format = row_format::table;
  std::optional<uint64_t> limit;
  std::vector<std::string> encodings;
  std::optional<std::string> isa;
  std::string library_folder;
  uint32_t threads = 1;
  uint32_t repetitions = 9;
  bool explain = false;
  std::optional<std::filesystem::path> saved_file;
  bool list_columns = false;
  bool summary = false;
  std::optional<std::filesystem::path> record;
  instrumentation more;

  bool asks_for_groups() const { return group_columns || !aggregates.empty(); }
};

// Nothing when the arguments ask for help or the version, which are then printed.  Throws store::error, or what the
// reader of the arguments throws.
std::optional<options> read_options(int argc, char **argv);

} // namespace store
