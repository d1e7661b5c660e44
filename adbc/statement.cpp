#include "adbc/statement.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <limits>
#include <new>
#include <set>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "adbc/failure.hpp"
#include "adbc/nested_array.hpp"
#include "sql/connection.hpp"
#include "sql/plan_json.hpp"
#include "sql/written_file.hpp"
#include "store/arrow/import.hpp"
#include "store/chunk/cells.hpp"
#include "store/error.hpp"
#include "store/logical/text.hpp"
#include "store/operator/answer.hpp"
#include "store/operator/column_reader.hpp"
#include "store/operator/explain.hpp"
#include "store/operator/table_rows.hpp"
#include "store/run/worker_pool.hpp"
#include "store/saved/save_rows.hpp"
#include "store/saved/saved_table.hpp"
#include "store/value/column_names.hpp"

namespace store::adbc {

namespace {

constexpr std::pair<std::string_view, database::store_mode> modes[] = {
    {ADBC_INGEST_OPTION_MODE_CREATE, database::store_mode::create},
    {ADBC_INGEST_OPTION_MODE_APPEND, database::store_mode::append},
    {ADBC_INGEST_OPTION_MODE_REPLACE, database::store_mode::replace},
    {ADBC_INGEST_OPTION_MODE_CREATE_APPEND, database::store_mode::create_or_append}};

constexpr const char *row_groups_option = "vorn.partition_row_groups";
constexpr const char *plan_option = "vorn.plan";
constexpr const char *result_option = "vorn.result";
constexpr const char *partitions_option = "vorn.partitions";
constexpr const char *partition_by_option = "vorn.partition_by";
constexpr std::string_view arrow_result = "arrow";
constexpr std::pair<std::string_view, table_form> encoded_results[] = {{"vorn", table_form::sent},
                                                                       {"file", table_form::file}};

template <class Number>
Number number_in(std::string_view key, std::string_view value, Number least, Number most) {
  Number out = 0;
  const auto [end, fault] = std::from_chars(value.data(), value.data() + value.size(), out);
  if (fault != std::errc{} || end != value.data() + value.size() || out < least || out > most)
    throw invalid_argument(
        fmt::format("the option {} is a number from {} to {}, not '{}'", key, least, most, shortened(value)));
  return out;
}

// "0,2"; nothing for an empty text.
std::vector<size_t> columns_in(std::string_view key, std::string_view value) {
  std::vector<size_t> out;
  while (!value.empty()) {
    const size_t comma = std::min(value.find(','), value.size() - 1);
    const std::string_view one = value.substr(0, value[comma] == ',' ? comma : value.size());
    out.push_back(number_in<size_t>(key, one, 0, std::numeric_limits<uint32_t>::max()));
    value.remove_prefix(comma + 1);
  }
  return out;
}

bool truth_of(std::string_view key, std::string_view value) {
  if (value != ADBC_OPTION_VALUE_ENABLED && value != ADBC_OPTION_VALUE_DISABLED)
    throw invalid_argument(fmt::format("the option {} is true or false, not '{}'", key, shortened(value)));
  return value == ADBC_OPTION_VALUE_ENABLED;
}
std::string text_of(bool truth) { return truth ? ADBC_OPTION_VALUE_ENABLED : ADBC_OPTION_VALUE_DISABLED; }

void expect(std::string_view key, std::string_view value, std::string_view only) {
  if (!value.empty() && value != only)
    throw not_found(fmt::format("the option {} is {}, not '{}'", key, only, shortened(value)));
}

// Reads record batches of a stream until the end or until somebody cancels.  Says which columns are of Arrow's type
// null, where somebody asks.
arrow_table imported(ArrowArrayStream &from, const execution &run, std::vector<bool> *are_nulls = nullptr) {
  const auto check = [&](int code) {
    if (code == 0)
      return;
    if (code == ENOMEM)
      throw std::bad_alloc();
    const char *reason = from.get_last_error != nullptr ? from.get_last_error(&from) : nullptr;
    throw failure(ADBC_STATUS_IO, "58030",
                  fmt::format("the Arrow stream fails: {}", reason != nullptr ? reason : std::strerror(code)));
  };
  ArrowSchema schema{};
  check(from.get_schema(&from, &schema));
  arrow_owner<ArrowSchema> owned_schema(schema);
  arrow_importer importer(*owned_schema);
  for (int64_t c = 0; are_nulls != nullptr && c < owned_schema->n_children; ++c)
    are_nulls->push_back(std::string_view(owned_schema->children[c]->format) == "n");
  for (;;) {
    if (run.is_cancelled)
      throw exec::interrupted();
    ArrowArray batch{};
    check(from.get_next(&from, &batch));
    if (batch.release == nullptr)
      return importer.finish();
    arrow_owner<ArrowArray> owned_batch(batch);
    importer.add(*owned_batch);
  }
}

std::shared_ptr<exec::table> table_of(const std::string &name, arrow_table from) {
  std::vector<std::shared_ptr<const column>> stored;
  for (const column_info &info : from.columns)
    stored.push_back(std::make_shared<const column>(std::move(from.encoded.at(info.name))));
  return memory_table(name, std::move(from.columns), std::move(stored), from.rows);
}

// The columns of a table, all loaded.
std::vector<std::shared_ptr<const column>> columns_of(const std::shared_ptr<exec::table> &of, execution &run) {
  std::vector<std::shared_ptr<const column>> out;
  run.of_columns = of->columns().size();
  for (size_t c = 0; c < of->columns().size(); ++c) {
    run.columns = c;
    run.rows = 0;
    out.emplace_back(of, &of->at(c)); // a part of the table, which it keeps
    if (run.is_cancelled)
      throw exec::interrupted();
  }
  run.columns = out.size();
  return out;
}

std::unique_ptr<result> no_rows() { return one_batch({"+s"}, std::nullopt); }

} // namespace

void statement::set_query(std::string text) {
  query_ = std::move(text);
  unread = {};
  plan_.reset();
  target_.reset();
  bound_.reset();
  values_.reset();
}

void statement::set_option(std::string_view key, const std::string &value) {
  if (key == ADBC_INGEST_OPTION_TARGET_TABLE) {
    if (value.empty())
      throw invalid_argument("a table has a name");
    target_ = value;
    query_.reset();
    plan_.reset();
  } else if (key == ADBC_INGEST_OPTION_MODE) {
    const auto *known =
        std::find_if(std::begin(modes), std::end(modes), [&](const auto &m) { return m.first == value; });
    if (known == std::end(modes))
      throw invalid_argument(fmt::format("there is no mode of ingestion '{}'", shortened(value)));
    mode_ = known->second;
  } else if (key == ADBC_INGEST_OPTION_TEMPORARY) {
    is_temporary_ = truth_of(key, value);
  } else if (key == ADBC_INGEST_OPTION_TARGET_CATALOG) {
    expect(key, value, catalog_name);
  } else if (key == ADBC_INGEST_OPTION_TARGET_DB_SCHEMA) {
    expect(key, value, schema_name);
  } else if (key == ADBC_STATEMENT_OPTION_BIND_BY_NAME) {
    binds_by_name_ = truth_of(key, value);
  } else if (key == ADBC_STATEMENT_OPTION_INCREMENTAL) {
    if (truth_of(key, value))
      throw not_implemented("partitions come all at once");
  } else if (key == row_groups_option) {
    partition_row_groups_ = number_in<size_t>(key, value, 1, std::numeric_limits<uint32_t>::max());
  } else if (key == plan_option) {
    logical::query plan;
    try {
      plan = sql::read_plan_text(value);
    } catch (const error &e) {
      throw invalid_argument(e.what());
    }
    plan_ = std::move(plan);
    query_.reset();
    target_.reset();
    bound_.reset();
    values_.reset();
  } else if (key == result_option) {
    const auto *const chosen =
        std::ranges::find(encoded_results, std::string_view(value), &std::pair<std::string_view, table_form>::first);
    const bool is_encoded = chosen != std::end(encoded_results);
    if (!is_encoded && value != arrow_result)
      throw invalid_argument(fmt::format("the option {} is arrow, vorn or file, not '{}'", key, shortened(value)));
    encoded_ = is_encoded ? std::optional(chosen->second) : std::nullopt;
  } else if (key == partitions_option) {
    constexpr uint32_t most = 4096;
    split_.partitions = number_in<uint32_t>(key, value, 1, most);
  } else if (key == partition_by_option) {
    split_.by = columns_in(key, value);
  } else {
    throw not_implemented(fmt::format("statements have no option '{}'", shortened(key)));
  }
}

std::string statement::option(std::string_view key) {
  if (key == ADBC_STATEMENT_OPTION_PROGRESS || key == ADBC_STATEMENT_OPTION_MAX_PROGRESS) {
    const std::lock_guard lock(guard_);
    const std::shared_ptr<execution> run = execution_.lock();
    if (!run)
      return "0";
    return std::to_string(key == ADBC_STATEMENT_OPTION_PROGRESS ? run->columns * run->of_rows + run->rows
                                                                : run->of_columns * run->of_rows);
  }
  if (key == ADBC_INGEST_OPTION_TARGET_TABLE && target_)
    return *target_;
  if (key == ADBC_INGEST_OPTION_MODE)
    return std::string(
        std::find_if(std::begin(modes), std::end(modes), [&](const auto &m) { return m.second == mode_; })->first);
  if (key == ADBC_INGEST_OPTION_TEMPORARY)
    return text_of(is_temporary_);
  if (key == ADBC_STATEMENT_OPTION_BIND_BY_NAME)
    return text_of(binds_by_name_);
  if (key == ADBC_STATEMENT_OPTION_INCREMENTAL)
    return text_of(false);
  if (key == row_groups_option)
    return std::to_string(partition_row_groups_);
  if (key == plan_option)
    return sql::plan_text(planned(*begin()));
  if (key == result_option)
    return std::string(
        encoded_
            ? std::ranges::find(encoded_results, *encoded_, &std::pair<std::string_view, table_form>::second)->first
            : arrow_result);
  if (key == partitions_option)
    return std::to_string(split_.partitions);
  if (key == partition_by_option)
    return fmt::format("{}", fmt::join(split_.by, ","));
  throw not_found(fmt::format("statements have no option '{}'", shortened(key)));
}

void statement::bind(arrow_owner<ArrowArrayStream> values) {
  bound_.emplace(std::move(values));
  unread = {};
  values_.reset();
}

const std::string &statement::text() const {
  if (!query_)
    throw invalid_state("the statement has no query");
  return *query_;
}

std::shared_ptr<execution> statement::begin() {
  std::shared_ptr<execution> out = on_->begin();
  const std::lock_guard lock(guard_);
  execution_ = out;
  return out;
}

bool statement::cancel() {
  const std::lock_guard lock(guard_);
  const std::shared_ptr<execution> run = execution_.lock();
  if (run)
    run->is_cancelled = true;
  return run != nullptr;
}

std::shared_ptr<const statement::bound_values> statement::values() {
  if (values_ || !bound_)
    return values_;
  const execution run;
  std::vector<bool> are_untyped; // which columns tell nothing about the type of their parameter
  auto out = std::make_shared<bound_values>();
  const std::shared_ptr<exec::table> table = table_of("parameters", imported(**bound_, run, &are_untyped));
  bound_.reset();
  out->rows.resize(table->rows());
  for (size_t c = 0; c < table->columns().size(); ++c) {
    const column_info &info = table->columns()[c];
    out->names.push_back(info.name);
    out->nulls.push_back(are_untyped[c] ? "NULL" : sql::sql_constant({}, info));
    exec::layout layout = exec::layout_of(*table, c);
    layout.form = exec::plain_representation(*info.type);
    size_t row = 0;
    exec::read_rows(
        on_->of().library(), *table, std::span(&c, 1), [&](std::span<const exec::vector> columns, uint32_t rows) {
          for (uint32_t r = 0; r < rows; ++r)
            out->rows[row++].push_back(columns.front().is_null(r)
                                           ? out->nulls.back()
                                           : sql::sql_constant(exec::cell_at(columns.front(), layout, r), info));
        });
  }
  values_ = std::move(out);
  return values_;
}

std::string statement::with_row(const std::string &text, const bound_values *values, bool by_name, size_t row) {
  const std::vector<sql::parameter> parameters = sql::parameters_of(text);
  if (values == nullptr) {
    if (!parameters.empty())
      throw invalid_state(fmt::format("the query has parameters, and nothing is bound to them"));
    return text;
  }
  const std::vector<std::string> &constants = row < values->rows.size() ? values->rows[row] : values->nulls;
  const auto place_of = [&](const sql::parameter &of) {
    if (by_name && !of.name.empty()) {
      const auto found = std::find(values->names.begin(), values->names.end(), of.name);
      if (found == values->names.end())
        throw invalid_argument(fmt::format("nothing is bound to the parameter ${}", shortened(of.name)));
      return static_cast<size_t>(found - values->names.begin());
    }
    return of.ordinal;
  };
  size_t used = 0;
  std::string out = sql::with_values(text, parameters, [&](const sql::parameter &of) {
    const size_t place = place_of(of);
    used = std::max(used, place + 1);
    return place < constants.size() ? constants[place] : "NULL";
  });
  if (by_name ? used > constants.size() : used != constants.size())
    throw invalid_argument(fmt::format("the query has {} parameters, and {} are bound", used, constants.size()));
  return out;
}

logical::query statement::planned(execution &run) {
  if (plan_)
    return *plan_;
  if (sql::read_statement(text()).what != sql::statement_kind::query)
    throw invalid_state("only a query has a plan");
  const connection::turn now(*on_, run);
  return now.session.plan(with_row(text(), values().get(), binds_by_name_, 0));
}

std::unique_ptr<result> statement::execute_query(std::shared_ptr<execution> run) {
  if (encoded_) {
    logical::query query = planned(*run);
    return encoded_rows(*on_, std::move(run), std::move(query), split_, *encoded_);
  }
  if (plan_)
    return rows_of(on_, std::move(run), 1, [plan = *plan_](sql::session &, size_t) { return planned_query{plan, {}}; });
  const std::shared_ptr<const bound_values> bound = values();
  const size_t count = bound ? bound->rows.size() : 1;
  return rows_of(on_, std::move(run), count,
                 [text = text(), bound, by_name = binds_by_name_](sql::session &with, size_t row) {
                   return planned_query{with.plan(with_row(text, bound.get(), by_name, row)), {}};
                 });
}

std::unique_ptr<result> statement::explain(const sql::statement &of, execution &run) {
  const connection::turn now(*on_, run);
  const logical::query planned = now.session.plan(with_row(of.query, values().get(), binds_by_name_, 0));
  std::string text;
  if (of.runs) {
    const exec::relation_ptr rows = now.session.operators(planned.root);
    worker_pool threads(on_->of().threads());
    std::vector<exec::arena> memory(threads.threads());
    exec::all_rows(*rows, {on_->of().library(), threads, run.is_cancelled, memory, true});
    // To record the kernels would concern all connections of the process.
    text = exec::explained(*rows, *rows);
  } else {
    text = to_text(planned.root);
  }
  nested_column out("+s", "", false, {{"u", "explain_key", true}, {"u", "explain_value", true}});
  out.children[0].append(of.runs ? "analyzed_plan" : "plan");
  out.children[1].append(text);
  out.append_nested();
  return one_batch(out.schema(), out.finish());
}

uint64_t statement::ingest(execution &run) {
  if (!bound_)
    throw invalid_state("nothing is bound that the table can take in");
  const execution::scope scope(run);
  arrow_owner<ArrowArrayStream> rows = std::move(*bound_);
  bound_.reset();
  const std::shared_ptr<exec::table> made = table_of(*target_, imported(*rows, run));
  if (made->columns().empty())
    throw failure(ADBC_STATUS_INVALID_DATA, "22000", "a table has columns");
  std::set<std::string> names;
  for (const column_info &column : made->columns())
    if (!names.insert(duckdb::lower_case(column.name)).second)
      throw failure(ADBC_STATUS_INVALID_DATA, "22000",
                    fmt::format("column '{}' has the name of another one, apart from upper and lower case",
                                shortened(column.name)));
  on_->of().store(made, mode_, is_temporary_);
  return made->rows();
}

uint64_t statement::copy_to(const sql::statement &of, execution &run) {
  const std::filesystem::path file = of.file;
  const bool is_saved = file.extension() == saved_table::ending;
  if (!is_saved && file.extension() != ".parquet")
    throw invalid_argument(fmt::format("{} ends in neither .vorn nor .parquet", shortened(of.file)));
  const connection::turn now(*on_, run);
  if (is_saved && !of.table.empty()) {
    const std::shared_ptr<exec::table> table = on_->of().tables().find(of.table);
    columns_of(table, run);
    save_table(file, *table);
    return table->rows();
  }
  const logical::query planned = now.session.plan(with_row(of.query, values().get(), binds_by_name_, 0));
  const exec::relation_ptr rows = now.session.operators(planned.root);
  worker_pool threads(on_->of().threads());
  std::vector<exec::arena> memory(threads.threads());
  exec::kept_rows kept = exec::all_rows(*rows, {on_->of().library(), threads, run.is_cancelled, memory});
  const exec::answer answer{planned.names, exec::plain_layouts(rows->columns()), std::move(kept)};
  if (is_saved)
    save_rows(file, answer);
  else
    sql::write_parquet(file, answer);
  return answer.rows.rows();
}

uint64_t statement::copy_from(const sql::statement &of, execution &run) {
  const connection::turn now(*on_, run);
  const std::shared_ptr<exec::table> from = on_->of().tables().find(of.file);
  on_->of().store(memory_table(of.table, from->columns(), columns_of(from, run), from->rows()),
                  database::store_mode::create_or_append);
  return from->rows();
}

std::unique_ptr<result> statement::execute(int64_t &rows_affected) {
  rows_affected = -1;
  std::shared_ptr<execution> run = begin();
  if (target_) {
    rows_affected = static_cast<int64_t>(ingest(*run));
    return no_rows();
  }
  if (plan_)
    return execute_query(std::move(run));
  const sql::statement of = sql::read_statement(text());
  switch (of.what) {
  case sql::statement_kind::query:
    return execute_query(std::move(run));
  case sql::statement_kind::explain:
    return explain(of, *run);
  case sql::statement_kind::copy_to:
    rows_affected = static_cast<int64_t>(copy_to(of, *run));
    return no_rows();
  case sql::statement_kind::copy_from:
    rows_affected = static_cast<int64_t>(copy_from(of, *run));
    return no_rows();
  case sql::statement_kind::drop:
    break;
  }
  if (!on_->of().drop(of.table) && !of.may_miss)
    throw not_found(fmt::format("no such table: {}", shortened(of.table)));
  return no_rows();
}

void statement::execute_update(int64_t &rows_affected) {
  const std::unique_ptr<result> rows = execute(rows_affected);
  for (;;) {
    arrow_owner<ArrowArray> batch(rows->next());
    if (batch->release == nullptr)
      return;
  }
}

ArrowSchema statement::execute_schema() {
  const logical::query query = planned(*begin());
  return exported_schema(query.root.types, query.names);
}

ArrowSchema statement::parameter_schema() const {
  schema_parts out{"+s"};
  for (const sql::parameter &of : sql::parameters_of(text())) {
    const std::string name = of.name.empty() ? std::to_string(of.ordinal) : of.name;
    if (std::none_of(out.children.begin(), out.children.end(), [&](const auto &known) { return known.name == name; }))
      out.children.push_back({"n", name, {}, true});
  }
  return exported(std::move(out));
}

std::vector<std::string> statement::execute_partitions(ArrowSchema &schema) {
  const sql::statement of = sql::read_statement(text());
  if (of.what != sql::statement_kind::query)
    throw not_implemented("not partitioned: a statement that is no query");
  const std::shared_ptr<const bound_values> bound = values();
  if (bound && bound->rows.size() != 1)
    throw not_implemented("not partitioned: a query with several rows of parameters");
  const std::shared_ptr<execution> run = begin();
  const connection::turn now(*on_, *run);
  const std::string query = with_row(text(), bound.get(), binds_by_name_, 0);
  const logical::query planned = now.session.plan(query);
  std::vector<std::string> out = partitions_of(on_->of(), query, planned, partition_row_groups_);
  schema = exported_schema(planned.root.types, planned.names);
  return out;
}

} // namespace store::adbc
