// The tables that queries name: files, saved tables, and tables that a program has added.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sql/connection.hpp"
#include "store/encode/encoder.hpp"
#include "store/encode/table_source.hpp"
#include "store/operator/operators.hpp"
#include "store/operator/table.hpp"
#include "store/saved/replaced_file.hpp"
#include <vorn/vorn.h>

namespace store::sql {

// The progress of a load.
struct load_progress {
  std::string table;
  std::string column;
  uint64_t rows = 0; // rows loaded so far
  uint64_t of = 0;
};

// Several threads may use a catalogue at once.
class catalogue {
public:
  // Saved tables are checked with the library.  `encodings` are the choices for columns by name.  The store chooses the
  // encoding of every other column.  The library outlives this object.
  explicit catalogue(const vorn_ctx &library, choice_map encodings = {});
  catalogue(const catalogue &) = delete;

  // Each .parquet, .csv, .tsv, .csv.gz and .vorn file of a folder is a table by its name without the ending.  Throws
  // store::error when there is no such folder, or when two files would have one name.
  void add_folder(const std::filesystem::path &folder);
  // Several files of one kind become one table: the rows of the first file, then of the second, and so on.
  void add_files(const std::string &name, std::span<const std::filesystem::path> files);
  void add(std::shared_ptr<exec::table> added);
  // The same, and replaces the table of this name if there is one.  Queries that read the old table keep it.
  void put(std::shared_ptr<exec::table> added);
  void put_file(const std::string &name, const std::filesystem::path &file);
  // Also drops what is kept of a file that a query named.  Returns true if there was such a table.
  bool remove(const std::string &name);
  // The rows of a call of one of DuckDB's table functions, such as "range(10)".  There must be no table of this name.
  void add_call(const std::string &name, const std::string &call);

  // A table by its name or by the name of its file, or of several files as a pattern such as 'part-*.parquet'.
  // '/dev/stdin' is a CSV or Parquet file on standard input.  It is kept in a temporary file.  Throws store::error when
  // there is no such table.  The call reads the names and types of the columns.  For the types of a CSV file it reads
  // all rows.  A column is loaded when it is first needed.  A file that has changed since the last call is another
  // table.
  std::shared_ptr<exec::table> find(const std::string &name);
  // Some consecutive row groups.  Of one Parquet file they are the row groups of the file, and no other rows are
  // loaded.
  exec::table_part find_part(const std::string &name, size_t first, size_t end);
  // Might `find` find it?
  bool knows(const std::string &name) const;
  // Was a table of this name added?
  bool has(const std::string &name) const;

  // The tables that were added.  Names are in lower case, because SQL ignores case.
  std::vector<std::string> names() const;
  // The source of a table; null for a table that a program has added.
  std::shared_ptr<const table_source> source_of(const std::string &name);
  // The files of a table that are saved tables, in the order of its rows; empty for a table of other files or of none.
  std::vector<std::filesystem::path> saved_files_of(const std::string &name);

  // Throws store::error when a file of a table was written to while the table reads it.
  void require_unchanged();

  const vorn_ctx &library() const { return library_; }

  // Called at intervals while a column is loaded, by the thread that loads the column.
  void on_progress(std::function<void(const load_progress &)> call) { progress_ = std::move(call); }
  // Ends the reading of files by DuckDB.  Called from another thread or from a signal handler.
  void interrupt() { reader_.interrupt(); }

private:
  // The stamps that show whether a file has changed.
  struct file_state {
    std::filesystem::file_time_type written;
    uintmax_t bytes = 0;
    friend bool operator==(const file_state &, const file_state &) = default;
  };
  struct entry {
    std::vector<std::filesystem::path> files;
    std::vector<file_state> states;                           // of the files, when they were opened
    std::optional<std::pair<size_t, size_t>> row_groups = {}; // of a Parquet file; nothing for all
    std::shared_ptr<const table_source> source;
    std::shared_ptr<exec::table> opened;
  };
  // A table that was added or found before; null if there is none.
  entry *known(const std::string &name);
  static std::vector<file_state> states_of(std::span<const std::filesystem::path> files);
  void open_files(const std::string &name, entry &of);
  entry &opened(const std::string &name);
  void open(const std::string &name, entry &of);
  std::vector<std::filesystem::path> files_of(const std::string &pattern);
  const std::string &copied_input();
  std::shared_ptr<const column> load(const std::string &table, const table_source &source, size_t index);

  const vorn_ctx &library_;
  choice_map encodings_;
  mutable std::mutex guard_; // of what follows
  duckdb::connection reader_;
  std::map<std::string, entry> entries_; // by names in lower case, and by names of files
  std::function<void(const load_progress &)> progress_;
  std::optional<saved::temporary_file> copied_input_; // the copy of standard input
};

} // namespace store::sql
