// A database: the tables that its connections know, and the kernels that read them.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/catalogue.hpp"
#include "store/library/kernels.hpp"
#include "store/operator/table.hpp"

namespace store::adbc {

// SQL finds a table without these two parts of its name too.
inline constexpr const char *catalog_name = "memory";
inline constexpr const char *schema_name = "main";

struct database_options {
  std::optional<std::filesystem::path> path; // a folder, whose files are tables; nothing for memory alone
  uint32_t threads = 0;                      // of each connection; 0 for the number of processors
  std::optional<std::string> isa;            // the best one without a choice
};

// What a call does at the moment, as other threads see it.
struct execution {
  std::atomic<bool> is_cancelled = false;
  // Rows of a column that were loaded, of as many; and whole columns before it.
  std::atomic<uint64_t> rows = 0;
  std::atomic<uint64_t> of_rows = 0;
  std::atomic<uint64_t> columns = 0;
  std::atomic<uint64_t> of_columns = 1;

  // What the calling thread executes, while a `scope` is alive; null otherwise.
  static execution *&current();
  class scope {
  public:
    explicit scope(execution &of) : before_(current()) { current() = &of; }
    ~scope() { current() = before_; }
    scope(const scope &) = delete;

  private:
    execution *before_;
  };
};

// Connections of any number of threads use it at once.
class database {
public:
  // Throws failure or store::error for options that cannot be had.
  explicit database(const database_options &chosen);
  database(const database &) = delete;

  const vorn_ctx &library() const { return kernels_.chosen(); }
  std::string_view isa() const { return kernels_.name(); }
  uint32_t threads() const { return threads_; }
  const std::optional<std::filesystem::path> &path() const { return path_; }
  sql::catalogue &tables() { return tables_; }
  // No other database of any process has this name.
  const std::string &identity() const { return identity_; }

  // What happens to a table of a name that is taken.
  enum class store_mode { create, append, replace, create_or_append };
  // Stores a table: in a file of the folder, or in memory without a folder and where it is temporary.  Throws failure
  // when the mode does not fit, and store::error.
  void store(const std::shared_ptr<exec::table> &made, store_mode mode, bool is_temporary = false);
  // Removes a table and its file in the folder.  Whether there was one.
  bool drop(const std::string &name);

private:
  std::filesystem::path file_of(const std::string &name) const;
  std::filesystem::path changed_file_of(const std::string &name);
  std::shared_ptr<exec::table> appended(exec::table &to, exec::table &more) const;

  kernels &kernels_;
  uint32_t threads_;
  std::optional<std::filesystem::path> path_;
  std::string identity_;
  sql::catalogue tables_;
  std::mutex changing_; // of the list of tables, by `store` and `drop`
};

// A table in memory.
std::shared_ptr<exec::table> memory_table(const std::string &name, std::vector<column_info> columns,
                                          std::vector<std::shared_ptr<const column>> stored, uint64_t rows);

} // namespace store::adbc
