#include "sql/planner.hpp"

#include <algorithm>
#include <future>
#include <map>
#include <set>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "sql/connection.hpp"
#include "sql/functions.hpp"
#include "sql/json_document.hpp"
#include "sql/plan_reader.hpp"
#include "sql/polygon_function.hpp"
#include "sql/statistics_table.hpp"
#include "sql/tokens.hpp"
#include "sql/vectors.hpp"
#include "store/error.hpp"

namespace store::sql {

namespace {

using nlohmann::json;

// "line 2, column 5" for a position in a text.
std::string place(std::string_view text, uint32_t at) {
  const std::string_view before = text.substr(0, std::min<size_t>(at, text.size()));
  const auto lines = std::count(before.begin(), before.end(), '\n');
  const size_t line_start = before.rfind('\n') + 1; // 0 without one
  return fmt::format("line {}, column {}", lines + 1, before.size() - line_start + 1);
}

// The position of a name in a text, ignoring case; nothing if it does not occur.
std::optional<uint32_t> place_of_name(std::string_view text, std::string_view name) {
  const auto is_same = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
  };
  for (size_t at = 0; at < text.size();) {
    const std::string_view token = text.substr(at, token_length(text.substr(at)));
    if (std::equal(token.begin(), token.end(), name.begin(), name.end(), is_same))
      return static_cast<uint32_t>(at);
    at += token.size();
  }
  return std::nullopt;
}

// A query in which the names of tables replace calls of table functions.
struct query_of_tables {
  std::string text;
  struct replaced {
    size_t end;  // in the text
    size_t more; // bytes than the call has
  };
  std::vector<replaced> calls;

  // Maps a position in this text to a position in the query of the user.
  uint32_t place_in_query(size_t at) const {
    size_t more = 0;
    for (const replaced &call : calls)
      more = call.end <= at ? call.more : more;
    return static_cast<uint32_t>(at - more);
  }
};

// The end of the call that begins at a position of a text; nothing if no call begins there.
std::optional<size_t> end_of_call(std::string_view text, size_t at) {
  size_t depth = 0;
  while (at < text.size()) {
    const std::string_view token = text.substr(at, token_length(text.substr(at)));
    at += token.size();
    depth += token == "(" ? 1 : 0;
    if (token == ")" && --depth == 0)
      return at;
    if (depth == 0 && token == ")")
      break;
  }
  return std::nullopt;
}

// The calls of table functions in a syntax tree: their positions, and whether they have an alias.
void add_calls(const json &tree, std::map<size_t, std::pair<std::string, bool>> &to) {
  if (is_text(member(tree, "type"), "TABLE_FUNCTION")) {
    const json &function = tree.at("function");
    if (function.value("class", "") == "FUNCTION" && member(tree, "sample").is_null() &&
        tree.value("with_ordinality", "WITHOUT_ORDINALITY") == "WITHOUT_ORDINALITY")
      to.emplace(function.at("query_location").get<size_t>(),
                 std::pair(function.at("function_name").get<std::string>(), !tree.value("alias", "").empty()));
  }
  if (tree.is_structured())
    for (const json &inside : tree)
      add_calls(inside, to);
}

std::string message_of(const missing_part &part, std::string_view query) {
  std::string where = part.name;
  // DuckDB does not keep the positions of all functions.
  if (const auto at = part.location ? part.location : place_of_name(query, part.name))
    where += (where.empty() ? "" : ", ") + place(query, *at);
  return fmt::format("not executed: {}{}", part.what, where.empty() ? "" : fmt::format(" ({})", where));
}

} // namespace

std::vector<std::string> statements(std::string_view text) {
  std::vector<std::string> out;
  size_t begin = 0;
  bool is_empty = true;
  const auto end_at = [&](size_t end) {
    if (!is_empty)
      out.emplace_back(text.substr(begin, end - begin));
    begin = end + 1;
    is_empty = true;
  };
  for (size_t at = 0; at < text.size();) {
    const std::string_view token = text.substr(at, token_length(text.substr(at)));
    if (token == ";")
      end_at(at);
    else
      is_empty = is_empty && is_blank(token);
    at += token.size();
  }
  end_at(text.size());
  return out;
}

namespace {

// The properties of a table that the table function vorn_table reports.
struct foreign_table {
  std::vector<std::pair<std::string, duckdb_logical_type>> columns;
  uint64_t rows = 0;
};
using foreign_tables = std::map<std::string, foreign_table>;

void bind_table(duckdb_bind_info info) {
  const auto &tables = *static_cast<const foreign_tables *>(duckdb_bind_get_extra_info(info));
  duckdb_value parameter = duckdb_bind_get_parameter(info, 0);
  char *name = duckdb_get_varchar(parameter);
  if (const auto found = tables.find(name); found == tables.end()) {
    duckdb_bind_set_error(info, "there is no such table");
  } else {
    for (const auto &[column, type] : found->second.columns)
      duckdb_bind_add_result_column(info, column.c_str(), type);
    duckdb_bind_set_cardinality(info, found->second.rows, true);
  }
  duckdb_free(name);
  duckdb_destroy_value(&parameter);
}

void add_scans(const logical::plan &of, std::vector<const logical::plan *> &to) {
  if (of.what == logical::plan_kind::scan)
    to.push_back(&of);
  for (const logical::plan &child : of.children)
    add_scans(child, to);
}

} // namespace

// The planner's database has a view for each table that a query names.  At first the view reads the table function
// vorn_table.  This function reports the columns and the number of rows, and is never run.  For a join DuckDB needs
// more statistics.  Then the view reads a small table with generated rows.
struct planner::state {
  explicit state(catalogue &of) : tables(of), inside(of.library()), other(database.another()) {
    disable_optimizers("");
    add_function(database,
                 {"vorn_table", "VARCHAR", &described, bind_table,
                  [](duckdb_init_info info) { duckdb_init_set_error(info, "DuckDB only plans queries of this table"); },
                  [](duckdb_function_info, duckdb_data_chunk) {}, true});
    inside.add_to(database);
    // This takes as long as opening the database, and few queries need it.  Without room for a thread, the first query
    // that needs it waits for it.
    volatile_functions =
        std::async(std::launch::async | std::launch::deferred, [connected = other.another()]() mutable {
          std::set<std::string> out;
          duckdb::result names =
              connected.query("SELECT DISTINCT function_name FROM duckdb_functions() WHERE stability = "
                              "'VOLATILE' AND function_type = 'scalar'");
          while (const auto chunk = names.next())
            for (uint64_t row = 0; row < chunk->rows(); ++row)
              out.emplace(chunk->column(0).text(row));
          return out;
        });
  }

  duckdb_logical_type type_named(const std::string &name);
  logical::query plan(const std::string &query);
  query_of_tables with_calls_as_tables(const std::string &query);
  json_document serialized(const std::string &query);
  // The optimisers for DuckDB's executor: values that it compresses, filters that it makes as it runs, the choice of
  // the side that a join builds, long IN lists as joins; and more ones.
  void disable_optimizers(std::string_view more) {
    database.query(fmt::format("SET disabled_optimizers = 'compressed_materialization,statistics_propagation,"
                               "late_materialization,join_filter_pushdown,column_lifetime,build_side_probe_side,"
                               "in_clause,top_n_window_elimination{}'",
                               more));
  }
  bool add_statistics(const logical::plan &of);
  void add_view(const std::string &name);
  void add_views(const std::string &query);
  std::optional<logical::scalar> value_of(const logical::expression &e);

  catalogue &tables;
  polygon_function inside;
  duckdb::connection database{1};
  duckdb::connection other;                          // for queries while a query is planned
  std::map<std::string, duckdb::logical_type> types; // by their names
  std::map<std::string, std::string> statistics;     // the queries that made the rows of tables, by the tables' names
  uint64_t most_rows = 0;                            // of the tables with statistics
  foreign_tables described;                          // by the names in the views
  struct known_view {
    std::string name; // as in the query that made the view
    std::weak_ptr<exec::table> of;
  };
  std::map<std::string, known_view> views;  // by names in lower case
  std::map<std::string, std::string> calls; // the names of tables that are calls of table functions
  std::shared_future<std::set<std::string>> volatile_functions;
  const expression_reader expressions{
      [this](const std::string &name) { return volatile_functions.get().contains(name); },
      [this](const logical::expression &e) { return value_of(e); }};
};

duckdb_logical_type planner::state::type_named(const std::string &name) {
  duckdb::logical_type &type = types[name];
  if (!type)
    type = duckdb::type_named(other, name);
  return type.get();
}

void planner::state::add_view(const std::string &name) {
  const std::shared_ptr<exec::table> table = tables.knows(name) ? tables.find(name) : nullptr;
  known_view &view = views[duckdb::lower_case(name)];
  const bool is_made = !view.name.empty();
  if (is_made ? table && view.of.lock() == table : !table)
    return;
  if (is_made) { // the catalogue has another table of this name now, or none
    database.query(
        fmt::format("DROP {} {}", statistics.erase(view.name) != 0 ? "TABLE" : "VIEW", duckdb::quoted_name(view.name)));
    described.erase(view.name);
  }
  view = {};
  if (!table)
    return;
  described.erase(name); // what is left of a table that DuckDB refused
  foreign_table &of = described[name];
  of.rows = table->rows();
  for (const column_info &column : table->columns())
    of.columns.emplace_back(column.name, type_named(column.sql_type));
  database.query(
      fmt::format("CREATE VIEW {} AS FROM vorn_table({})", duckdb::quoted_name(name), duckdb::quoted_text(name)));
  view = {name, table};
}

void planner::state::add_views(const std::string &query) {
  for (const std::string &name : database.table_names(query))
    add_view(name);
}

// DuckDB's plan does not contain the rows of a table function, nor the arguments of read_csv.  So the rows of a call
// become a table.
query_of_tables planner::state::with_calls_as_tables(const std::string &query) {
  query_of_tables out;
  const auto answer = database.query(fmt::format("SELECT json_serialize_sql({})", duckdb::quoted_text(query))).next();
  std::map<size_t, std::pair<std::string, bool>> found;
  add_calls(json_document(std::string(answer->column(0).text(0))).tree(), found);
  size_t done = 0;
  for (const auto &[begin, call] : found) {
    const std::optional<size_t> end = begin < done ? std::nullopt : end_of_call(query, begin);
    if (!end)
      continue;
    const std::string text = query.substr(begin, *end - begin);
    auto known = calls.find(text);
    if (known == calls.end()) {
      std::string name = text;
      while (views.contains(duckdb::lower_case(name)))
        name += ' '; // a call that differs only in case
      try {
        tables.add_call(name, text);
      } catch (const error &) {
        continue; // it depends on other tables, or it has an error and DuckDB reports the error
      }
      add_view(name);
      known = calls.emplace(text, std::move(name)).first;
    }
    out.text.append(query, done, begin - done).append(duckdb::quoted_name(known->second));
    if (!call.second)
      out.text += " AS " + duckdb::quoted_name(call.first);
    out.calls.push_back({out.text.size(), out.text.size() - *end});
    done = *end;
  }
  out.text.append(query, done);
  return out;
}

std::optional<logical::scalar> planner::state::value_of(const logical::expression &e) {
  try {
    duckdb::result answer = other.query(fmt::format("SELECT CAST({} AS {})", e.sql, e.type.name));
    const auto chunk = answer.next();
    exec::arena memory;
    const exec::vector value = from_duckdb(chunk->column(0), e.type, 1, memory);
    if (value.is_null(0))
      return std::monostate();
    return exec::with_type(value.form, [&]<class T>(T) -> logical::scalar {
      if constexpr (std::is_same_v<T, std::string_view>)
        return std::string(value.texts()[0]);
      else if constexpr (std::is_same_v<T, double>)
        return value.float64s()[0];
      else
        return static_cast<__int128>(value.values<T>()[0]);
    });
  } catch (const error &) {
    return std::nullopt; // it fails when the query runs
  }
}

// Loads the columns of a plan with joins, and gives DuckDB their statistics.  Returns true if there were new
// statistics.
bool planner::state::add_statistics(const logical::plan &of) {
  std::vector<const logical::plan *> scans;
  add_scans(of, scans);
  if (scans.size() < 2)
    return false;
  for (const logical::plan *scan : scans) {
    exec::table &table = *tables.find(scan->table);
    for (size_t index : scan->table_columns)
      if (!table.is_described())
        table.at(index);
    most_rows = std::max(most_rows, table.rows());
  }
  const uint64_t factor = std::max<uint64_t>(1, most_rows / most_planned_rows);
  bool are_new = false;
  for (const logical::plan *scan : scans) {
    std::string rows = statistics_rows(*tables.find(scan->table), factor);
    std::string &known = statistics[scan->table];
    if (known == rows)
      continue;
    const std::string name = duckdb::quoted_name(scan->table);
    if (known.empty())
      database.query("DROP VIEW " + name);
    database.query(fmt::format("CREATE OR REPLACE TABLE {} AS {}", name, rows));
    known = std::move(rows);
    are_new = true;
  }
  return are_new;
}

planner::planner(catalogue &tables) : state_(new state(tables)) {}
planner::~planner() = default;

json_document planner::state::serialized(const std::string &query) {
  const auto answer =
      database.query(fmt::format("SELECT json_serialize_plan({}, optimize := true)", duckdb::quoted_text(query)))
          .next();
  const std::string_view text = answer->column(0).text(0);
  if (text.empty())
    throw not_executed("not executed: a constant of a type that DuckDB's plan cannot hold");
  return json_document(std::string(text));
}

logical::query planner::state::plan(const std::string &query) {
  logical::query out;
  const auto prepare = [&] {
    const duckdb::statement prepared = database.prepare(query);
    if (!prepared.is_query())
      throw error("only queries are answered, such as SELECT, FROM, VALUES and DESCRIBE");
    out.names = prepared.names();
  };
  try {
    prepare();
  } catch (const error &) {
    // When DuckDB knows all tables, its message suggests the right name of a table.
    for (const std::string &name : tables.names())
      try {
        add_view(name);
      } catch (const error &) { // of a table that the query does not name
      }
    prepare();
  }
  const query_of_tables asked = with_calls_as_tables(query);
  json_document document = serialized(asked.text);
  // DuckDB 1.5 sometimes cannot make the plan after it has dropped columns that a shared part does not need.
  if (document.tree().value("error_type", "") == "internal") {
    volatile_functions.wait(); // another thread must not plan while the setting of the database changes
    disable_optimizers(",unused_columns");
    document = serialized(asked.text);
    disable_optimizers("");
  }
  const json &plan = document.tree();
  if (plan.value("error", false))
    throw not_executed(fmt::format("not executed: {}", plan.value("error_message", "DuckDB gives no plan")));
  try {
    out.root = plan_reader(expressions).read_whole(plan);
  } catch (missing_part &part) {
    if (part.location)
      part.location = asked.place_in_query(*part.location);
    throw not_executed(message_of(part, query));
  }
  return out;
}

logical::query planner::plan(const std::string &text) {
  const std::string query = with_possible_limits(text);
  state_->add_views(query);
  logical::query out = state_->plan(query);
  return state_->add_statistics(out.root) ? state_->plan(query) : out;
}

} // namespace store::sql
