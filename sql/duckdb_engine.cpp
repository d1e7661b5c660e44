#include "sql/duckdb_engine.hpp"

#include <algorithm>
#include <set>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sql/functions.hpp"
#include "sql/polygon_function.hpp"
#include "sql/table_file.hpp"
#include "sql/tokens.hpp"
#include "sql/vectors.hpp"
#include "store/error.hpp"
#include "store/operator/column_reader.hpp"

namespace store::sql {

namespace {

// The rows of a table of the store.  The table function vorn_rows gives them to DuckDB.  A query contains the address
// of this object.
struct stored_rows {
  stored_rows(const vorn_ctx &library, exec::table &of) {
    for (size_t i = 0; i < of.columns().size(); ++i)
      if (of.columns()[i].type) {
        names.push_back(of.columns()[i].name);
        layouts.push_back(exec::layout_of(of, i));
        columns.push_back(exec::stored_column_of(of, i));
      }
    if (columns.empty())
      throw error(fmt::format("table '{}' has no column of a type that is stored", shortened(of.name())));
    rows.emplace(library, columns);
    segments = columns[0].stored->segments;
  }

  std::vector<std::string> names;
  std::vector<exec::layout> layouts;
  std::vector<exec::stored_column> columns;
  std::vector<duckdb::logical_type> types;
  std::optional<exec::row_group_source> rows;
  std::span<const column_segment> segments;
  size_t row_group = 0;
  uint32_t done = 0; // rows of the row group
  exec::arena memory;

  // The next rows, at most the rows of one chunk of DuckDB.
  void give(duckdb_data_chunk output) {
    while (row_group < segments.size() && done == segments[row_group].rows) {
      ++row_group;
      done = 0;
    }
    uint32_t count = 0;
    if (row_group < segments.size()) {
      count = std::min(static_cast<uint32_t>(duckdb_vector_size()), segments[row_group].rows - done);
      memory.rewind({});
      rows->go_to(row_group);
      const std::span<uint32_t> positions = memory.take<uint32_t>(count);
      for (uint32_t i = 0; i < count; ++i)
        positions[i] = done + i;
      for (size_t c = 0; c < columns.size(); ++c) {
        const exec::vector values = exec::plain_values(rows->read(c, positions, memory), layouts[c], memory);
        to_duckdb(values, layouts[c].type, 0, count, duckdb_data_chunk_get_vector(output, c));
      }
      done += count;
    }
    duckdb_data_chunk_set_size(output, count);
  }
};

void bind_rows(duckdb_bind_info info) {
  duckdb_value address = duckdb_bind_get_parameter(info, 0);
  // A parameter of SQL carries the address.  NOLINTNEXTLINE(performance-no-int-to-ptr)
  auto &of = *reinterpret_cast<stored_rows *>(duckdb_get_uint64(address));
  duckdb_destroy_value(&address);
  for (size_t i = 0; i < of.names.size(); ++i)
    duckdb_bind_add_result_column(info, of.names[i].c_str(), of.types[i].get());
  duckdb_bind_set_bind_data(info, &of, nullptr);
}

void give_rows(duckdb_function_info info, duckdb_data_chunk output) {
  try {
    static_cast<stored_rows *>(duckdb_function_get_bind_data(info))->give(output);
  } catch (const std::exception &e) {
    duckdb_function_set_error(info, e.what());
  }
}

} // namespace

struct duckdb_engine::state {
  state(catalogue &of, storage form, size_t on_threads)
      : tables(of), stored(form), inside(of.library()), database(static_cast<uint32_t>(on_threads)) {
    duckdb::add_function(database, {"vorn_rows", "UBIGINT", nullptr, bind_rows, [](duckdb_init_info) {}, give_rows});
    inside.add_to(database);
    // With this optimiser DuckDB 1.5 cannot plan some queries.  It is off only when no time is measured.
    if (stored == storage::files)
      database.query("SET disabled_optimizers = 'compressed_materialization'");
    if (stored == storage::compressed) {
      database.query("ATTACH ':memory:' AS compressed (COMPRESS)");
      database.query("USE compressed");
    }
  }

  void make(const std::string &name);
  duckdb::statement &prepared(const std::string &query);

  catalogue &tables;
  storage stored;
  polygon_function inside;
  duckdb::connection database;
  std::set<std::string> made; // in lower case, because SQL ignores case
  std::string last_query;
  std::optional<duckdb::statement> last;
};

void duckdb_engine::state::make(const std::string &name) {
  if (!tables.knows(name) || !made.insert(duckdb::lower_case(name)).second)
    return;
  const std::string quoted = duckdb::quoted_name(name);
  const std::shared_ptr<exec::table> table = tables.find(name);
  const std::shared_ptr<const table_source> source = tables.source_of(name);
  const auto *const file = dynamic_cast<const table_file *>(source.get());
  if (file != nullptr) {
    // DuckDB 1.5 misses rows of a Parquet file when a condition compares BLOBs, because it uses the Bloom filter of the
    // file.
    const bool has_blobs = std::any_of(file->columns().begin(), file->columns().end(),
                                       [](const column_info &column) { return column.sql_type == "BLOB"; });
    database.query(fmt::format("CREATE {} {} AS FROM {}", stored == storage::files && !has_blobs ? "VIEW" : "TABLE",
                               quoted, file->sql()));
  } else {
    stored_rows rows(tables.library(), *table);
    for (const exec::layout &column : rows.layouts)
      rows.types.push_back(duckdb::type_named(database, column.type.name));
    database.query(
        fmt::format("CREATE TABLE {} AS FROM vorn_rows({}::UBIGINT)", quoted, reinterpret_cast<uintptr_t>(&rows)));
  }
  // A table in memory stays uncompressed until a checkpoint.
  if (stored == storage::compressed)
    database.query("CHECKPOINT compressed");
}

// The last query stays prepared, so that it can be repeated.
duckdb::statement &duckdb_engine::state::prepared(const std::string &query) {
  if (!last || last_query != query) {
    last.emplace(database.prepare(query));
    last_query = query;
  }
  return *last;
}

std::string_view duckdb_engine::name_of(storage form) {
  static constexpr std::string_view names[] = {"files", "plain tables", "compressed tables"};
  return names[static_cast<size_t>(form)];
}

duckdb_engine::duckdb_engine(catalogue &tables, storage form, size_t threads)
    : state_(new state(tables, form, threads)) {}
duckdb_engine::~duckdb_engine() = default;

void duckdb_engine::prepare(const std::string &query) {
  for (const std::string &name : state_->database.table_names(query))
    state_->make(name);
}

duckdb_answer duckdb_engine::run(const std::string &text) {
  const std::string query = with_possible_limits(text);
  prepare(query);
  duckdb::statement &prepared = state_->prepared(query);
  const std::vector<std::string> names = prepared.names();
  std::vector<logical::sql_type> types;
  std::vector<std::string> columns;
  std::vector<std::string> values;
  bool all_held = true;
  duckdb::result described = state_->database.query(fmt::format("SELECT column_type FROM (DESCRIBE {}\n)", query));
  while (const auto chunk = described.next())
    for (uint64_t row = 0; row < chunk->rows(); ++row) {
      types.emplace_back(std::string(chunk->column(0).text(row)));
      columns.push_back(fmt::format("c{}", columns.size()));
      values.push_back(types.back().held ? columns.back() : fmt::format("CAST({} AS VARCHAR)", columns.back()));
      all_held = all_held && types.back().held;
      if (!types.back().held)
        types.back() = logical::sql_type("VARCHAR");
    }
  duckdb_answer out(all_held
                        ? prepared.stream()
                        : state_->database.stream(fmt::format("SELECT {} FROM ({}\n) t({})", fmt::join(values, ", "),
                                                              query, fmt::join(columns, ", "))));
  out.names_ = names;
  out.types_ = std::move(types);
  return out;
}

uint64_t duckdb_engine::count_rows(const std::string &query) {
  uint64_t rows = 0;
  duckdb::result answer = state_->prepared(with_possible_limits(query)).stream();
  while (const auto chunk = answer.next())
    rows += chunk->rows();
  return rows;
}

void duckdb_engine::interrupt() { state_->database.interrupt(); }

uint32_t duckdb_answer::next(exec::arena &memory, std::vector<exec::vector> &columns) {
  do
    chunk_ = rows_.next();
  while (chunk_ && chunk_->rows() == 0);
  columns.clear();
  if (!chunk_)
    return 0;
  const auto rows = static_cast<uint32_t>(chunk_->rows());
  for (size_t i = 0; i < types_.size(); ++i)
    columns.push_back(from_duckdb(chunk_->column(i), types_[i], rows, memory));
  return rows;
}

} // namespace store::sql
