// The options and arguments of vornq.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "store/encode/encoder.hpp"
#include "store/library/kernels.hpp"
#include "vornq/row_writer.hpp"

namespace store {

enum class explaining { nothing, plan, run };

struct options {
  std::vector<std::string> queries; // texts; a text may have several queries
  std::vector<std::filesystem::path> files;
  std::vector<std::filesystem::path> folders;

  row_format format = row_format::table;
  uint64_t shown_rows = 40; // of a table; 0 for all
  std::optional<std::filesystem::path> output;
  std::optional<std::filesystem::path> saved_file;
  choice_map encodings;
  bool list_columns = false;

  bool by_duckdb = false;
  bool check = false;
  bool time = false;
  uint32_t repetitions = 5;
  explaining explain = explaining::nothing;
  bool summary = false;
  std::optional<std::filesystem::path> record;

  std::optional<std::string> isa;
  std::string library_folder;
  uint32_t threads = 1;
  instrumentation more;
};

// Returns nothing after it has printed the help, the version, or the text for a call without arguments.  Reads files of
// queries and standard input.  Throws store::error, or an exception of CLI11.
std::optional<options> read_options(int argc, char **argv);

} // namespace store
