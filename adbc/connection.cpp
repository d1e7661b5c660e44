#include "adbc/connection.hpp"

#include <fmt/format.h>

#include "adbc/failure.hpp"
#include "sql/table_statistics.hpp"
#include "store/error.hpp"
#include "store/saved/save_rows.hpp"
#include "store/saved/saved_table.hpp"

namespace store::adbc {

void connection::set_table(const std::string &name, std::string_view bytes) {
  if (name.empty())
    throw invalid_argument("a table has a name");
  if (bytes.empty()) {
    database_->tables().remove(name);
    return;
  }
  const auto source = std::make_shared<const saved_table>(
      database_->library(), std::span(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()), name);
  database_->tables().put(
      std::make_shared<exec::table>(name, source->columns(), source->rows(), [source](size_t index) {
        return std::make_shared<const column>(source->load(source->columns()[index], {}, [](uint64_t) {}));
      }));
}

void connection::set_statistics(const std::string &name, const std::string &text) {
  if (name.empty())
    throw invalid_argument("a table has a name");
  if (text.empty())
    database_->tables().remove(name);
  else
    database_->tables().put(sql::described_table(name, text));
}

std::string connection::statistics(const std::string &name) {
  return sql::statistics_text(sql::statistics_of(database_->tables(), name));
}

std::string connection::table_bytes(const std::string &name) {
  if (!database_->tables().has(name))
    throw not_found(fmt::format("no such table: {}", shortened(name)));
  const vorn_host::aligned_vector<uint8_t> out = saved_table_bytes(*database_->tables().find(name));
  return {out.begin(), out.end()};
}

std::shared_ptr<execution> connection::begin() {
  auto out = std::make_shared<execution>();
  const std::lock_guard lock(guard_);
  std::erase_if(executions_, [](const auto &of) { return of.expired(); });
  executions_.push_back(out);
  return out;
}

bool connection::cancel() {
  const std::lock_guard lock(guard_);
  bool out = false;
  for (const auto &known : executions_)
    if (const std::shared_ptr<execution> of = known.lock()) {
      of->is_cancelled = true;
      out = true;
    }
  return out;
}

} // namespace store::adbc
