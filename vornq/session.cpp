#include "vornq/session.hpp"

#include <span>

namespace store {

std::string session::table_name(const std::filesystem::path &file) {
  const std::filesystem::path stem = file.stem();
  return (file.extension() == ".gz" ? stem.stem() : stem).string();
}

session::session(const options &chosen)
    : library_(chosen.isa, chosen.library_folder, chosen.more), threads_(chosen.threads), memory_(chosen.threads),
      tables_(library_.chosen(), chosen.encodings), queries_(tables_) {
  tables_.on_progress([this](const sql::load_progress &at) { progress_.loads(at.column, at.rows, at.of); });
  for (const std::filesystem::path &folder : chosen.folders)
    tables_.add_folder(folder);
  for (const std::filesystem::path &file : chosen.files)
    tables_.add_files(table_name(file), std::span(&file, 1));
}

exec::kept_rows session::run(exec::relation &rows, const vorn_ctx &library, bool explains) {
  return exec::all_rows(rows, {library, threads_, is_interrupted_, memory_, explains});
}

sql::duckdb_engine &session::duckdb(sql::duckdb_engine::storage form, size_t threads) {
  for (const duckdb_form &known : duckdb_)
    if (known.form == form && known.threads == threads)
      return *known.engine;
  return *duckdb_.emplace_back(duckdb_form{form, threads, std::make_unique<sql::duckdb_engine>(tables_, form, threads)})
              .engine;
}

exec::answer session::answer_by_duckdb(const std::string &text) {
  sql::duckdb_engine &engine = duckdb(sql::duckdb_engine::storage::files, 1);
  engine.prepare(text);
  sql::duckdb_answer rows = engine.run(text);
  std::vector<exec::layout> columns;
  for (const logical::sql_type &type : rows.types()) {
    exec::layout &column = columns.emplace_back();
    column.type = type;
    column.form = exec::plain_representation(*type.held);
  }
  exec::answer out{rows.names(), columns, exec::kept_rows(columns)};
  exec::arena memory;
  std::vector<exec::vector> values;
  while (const uint32_t count = rows.next(memory, values)) {
    exec::chunk some(memory, count);
    for (const exec::vector &of : values)
      some.add_column(of);
    out.rows.append(some);
    memory.rewind({});
  }
  return out;
}

} // namespace store
