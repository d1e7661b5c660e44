#include "adbc/database.hpp"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include <fmt/format.h>

#include "adbc/failure.hpp"
#include "store/error.hpp"
#include "store/operator/table_rows.hpp"
#include "store/saved/save_rows.hpp"
#include "store/saved/saved_table.hpp"
#include "store/value/column_names.hpp"

namespace store::adbc {

namespace {

// A process chooses its kernels once.  They stay until its end, since results outlive databases.
kernels &kernels_of_process(const std::optional<std::string> &isa) {
  static std::mutex guard;
  static kernels *chosen = nullptr;
  const std::lock_guard lock(guard);
  if (chosen == nullptr)
    chosen = new kernels(isa, {});
  else if (isa && chosen->name() != *isa)
    throw invalid_state(fmt::format("the kernels of this process are {} already, and were to become {}", chosen->name(),
                                    shortened(*isa)));
  return *chosen;
}

uint32_t threads_of(uint32_t chosen) {
  return chosen != 0 ? chosen : std::max(1U, std::thread::hardware_concurrency());
}

std::string new_identity() {
  static std::atomic<uint64_t> made = 0;
  return fmt::format("{}-{}-{}", getpid(), std::chrono::system_clock::now().time_since_epoch().count(), ++made);
}

} // namespace

execution *&execution::current() {
  static thread_local execution *out = nullptr;
  return out;
}

database::database(const database_options &chosen)
    : kernels_(kernels_of_process(chosen.isa)), threads_(threads_of(chosen.threads)), path_(chosen.path),
      identity_(new_identity()), tables_(kernels_.chosen()) {
  if (path_)
    tables_.add_folder(*path_);
  // A column is loaded by the thread that asks for it.
  tables_.on_progress([](const sql::load_progress &at) {
    execution *const of = execution::current();
    if (of == nullptr)
      return;
    of->rows = at.rows;
    of->of_rows = at.of;
    if (of->is_cancelled)
      throw exec::interrupted();
  });
}

std::filesystem::path database::file_of(const std::string &name) const {
  if (name.empty() || name.front() == '.' || name.find('/') != name.npos || name.find('\0') != name.npos)
    throw invalid_argument(
        fmt::format("a table called '{}' has no file in the folder of the database", shortened(name)));
  return *path_ / (duckdb::lower_case(name) + saved_table::ending);
}

// A file of another kind is the user's, and stays as it is.
std::filesystem::path database::changed_file_of(const std::string &name) {
  std::filesystem::path out = file_of(name);
  if (tables_.has(name) && tables_.source_of(name) != nullptr && !std::filesystem::exists(out))
    throw invalid_state(fmt::format("the table '{}' is no file {}, and is not changed", shortened(name),
                                    shortened(out.filename().string())));
  return out;
}

std::shared_ptr<exec::table> database::appended(exec::table &to, exec::table &more) const {
  const std::vector<column_info> &columns = to.columns();
  const bool are_equal = std::equal(
      columns.begin(), columns.end(), more.columns().begin(), more.columns().end(),
      [](const column_info &a, const column_info &b) { return alike(a.name, b.name) && a.sql_type == b.sql_type; });
  if (!are_equal)
    throw failure(ADBC_STATUS_ALREADY_EXISTS, "42P07",
                  fmt::format("the columns of the table '{}' have other names or types", shortened(to.name())));
  exec::table *const parts[] = {&to, &more};
  std::vector<std::shared_ptr<const column>> stored;
  for (size_t c = 0; c < columns.size(); ++c)
    stored.push_back(std::make_shared<const column>(exec::concatenated(library(), parts, c, {}, [](uint64_t) {})));
  return memory_table(to.name(), columns, std::move(stored), to.rows() + more.rows());
}

void database::store(const std::shared_ptr<exec::table> &made, store_mode mode, bool is_temporary) {
  const std::lock_guard lock(changing_);
  const std::string name = made->name();
  const bool is_there = tables_.has(name);
  if (is_there && mode == store_mode::create)
    throw failure(ADBC_STATUS_ALREADY_EXISTS, "42P07", fmt::format("there is a table '{}' already", shortened(name)));
  if (!is_there && mode == store_mode::append)
    throw not_found(fmt::format("no such table: {}", shortened(name)));
  const std::shared_ptr<exec::table> out =
      is_there && mode != store_mode::replace ? appended(*tables_.find(name), *made) : made;
  if (!path_ || is_temporary) {
    tables_.put(out);
    return;
  }
  const std::filesystem::path file = changed_file_of(name);
  save_table(file, *out);
  tables_.put_file(name, file);
}

bool database::drop(const std::string &name) {
  const std::lock_guard lock(changing_);
  if (!tables_.has(name))
    return false;
  if (path_ && tables_.source_of(name) != nullptr)
    std::filesystem::remove(changed_file_of(name));
  return tables_.remove(name);
}

std::shared_ptr<exec::table> memory_table(const std::string &name, std::vector<column_info> columns,
                                          std::vector<std::shared_ptr<const column>> stored, uint64_t rows) {
  return std::make_shared<exec::table>(name, std::move(columns), rows,
                                       [stored = std::move(stored)](size_t index) { return stored[index]; });
}

} // namespace store::adbc
