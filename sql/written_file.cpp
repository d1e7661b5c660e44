#include "sql/written_file.hpp"

#include <string>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sql/connection.hpp"
#include "store/arrow/export.hpp"
#include "store/error.hpp"

extern "C" int duckdb_arrow_scan(void *connection, const char *view, ArrowArrayStream *stream);

namespace store::sql {

namespace {

// DuckDB gets the schema of a stream several times and releases none of the copies.  So the stream always gives the
// same schema.
class lent_schema_stream {
public:
  explicit lent_schema_stream(arrow_owner<ArrowArrayStream> inner) : inner_(std::move(inner)), schema_(ArrowSchema{}) {
    if (inner_->get_schema(&*inner_, &*schema_) != 0)
      throw error("rows have no schema");
    stream_.get_schema = [](ArrowArrayStream *stream, ArrowSchema *out) { return *out = *of(stream).schema_, 0; };
    stream_.get_next = [](ArrowArrayStream *stream, ArrowArray *out) {
      ArrowArrayStream &source = *of(stream).inner_;
      return source.get_next(&source, out);
    };
    stream_.get_last_error = [](ArrowArrayStream *stream) {
      ArrowArrayStream &source = *of(stream).inner_;
      return source.get_last_error(&source);
    };
    stream_.release = [](ArrowArrayStream *stream) { stream->release = nullptr; };
    stream_.private_data = this;
  }
  lent_schema_stream(const lent_schema_stream &) = delete;

  ArrowArrayStream &stream() { return stream_; }

private:
  static lent_schema_stream &of(ArrowArrayStream *stream) {
    return *static_cast<lent_schema_stream *>(stream->private_data);
  }

  arrow_owner<ArrowArrayStream> inner_;
  arrow_owner<ArrowSchema> schema_;
  ArrowArrayStream stream_{};
};

} // namespace

void write_parquet(const std::filesystem::path &path, const exec::answer &rows) {
  duckdb::connection database(1);
  lent_schema_stream stream(exported_rows(rows));
  if (duckdb_arrow_scan(database.opened(), "vorn_rows", &stream.stream()) != 0)
    throw error("DuckDB cannot read the rows");
  std::vector<std::string> columns;
  for (size_t c = 0; c < rows.names.size(); ++c) {
    const logical::sql_type &type = rows.columns[c].type;
    const std::string name = duckdb::quoted_name(rows.names[c]);
    const bool is_hugeint = type.held->kind == value_kind::wide && type.held->scale == 0;
    columns.push_back(is_hugeint ? name : fmt::format("{}::{} AS {}", name, type.name, name));
  }
  database.query(fmt::format("COPY (SELECT {} FROM vorn_rows) TO {} (FORMAT parquet, USE_TMP_FILE false)",
                             fmt::join(columns, ", "), duckdb::quoted_text(path.string())));
}

} // namespace store::sql
