#include <vorn/store/arrow.hpp>

#include <memory>
#include <optional>
#include <utility>

#include "store/api/access.hpp"
#include "store/arrow/export.hpp"
#include "store/arrow/import.hpp"

namespace vorn::store {

namespace {

::store::choice_map internal(const encoding_choices &choices) {
  ::store::choice_map out;
  for (const auto &[name, choice] : choices) {
    ::store::encoding_choice &chosen = out[name];
    if (choice.form)
      chosen.form = static_cast<::store::encoding>(*choice.form);
    chosen.compressed = choice.compressed;
  }
  return out;
}

table made(::store::arrow_table &&imported) {
  return access::made(std::move(imported.columns), std::move(imported.encoded), imported.rows);
}

// A record that now belongs to the caller.
template <class Record>
Record released(::store::arrow_owner<Record> owner) {
  return std::exchange(*owner, Record{});
}

// A stream with the data that it reads.
struct owned_stream {
  vorn_ctx ctx;
  std::shared_ptr<const table_data> data;
  std::optional<::store::arrow_owner<ArrowArrayStream>> rows;

  static ArrowArrayStream &of(ArrowArrayStream *stream) {
    return **static_cast<owned_stream *>(stream->private_data)->rows;
  }
};

ArrowArrayStream exported(const vorn_ctx &ctx, const table &of, std::optional<::store::selection> rows,
                          const std::vector<std::string> &names) {
  auto own = std::make_unique<owned_stream>(owned_stream{ctx, access::data(of), {}});
  checked([&] {
    const std::vector<::store::column_info> &infos = own->data->infos;
    std::vector<const ::store::column *> read;
    read.reserve(names.empty() ? own->data->infos.size() : names.size());
    for (const std::string &name : names)
      read.push_back(&own->data->columns.find(::store::find_column(infos, name).name)->second);
    for (size_t i = 0; names.empty() && i < own->data->infos.size(); ++i)
      read.push_back(&own->data->at(i));
    own->rows.emplace(::store::exported_rows(own->ctx, read, std::move(rows)));
  });
  ArrowArrayStream out{};
  out.get_schema = [](ArrowArrayStream *stream, ArrowSchema *schema) {
    ArrowArrayStream &inner = owned_stream::of(stream);
    return inner.get_schema(&inner, schema);
  };
  out.get_next = [](ArrowArrayStream *stream, ArrowArray *batch) {
    ArrowArrayStream &inner = owned_stream::of(stream);
    return inner.get_next(&inner, batch);
  };
  out.get_last_error = [](ArrowArrayStream *stream) {
    ArrowArrayStream &inner = owned_stream::of(stream);
    return inner.get_last_error(&inner);
  };
  out.release = [](ArrowArrayStream *stream) {
    delete static_cast<owned_stream *>(stream->private_data);
    stream->release = nullptr;
  };
  out.private_data = own.release();
  return out;
}

arrow_column released(::store::arrow_column &&exported) {
  return {released(std::move(exported.schema)), released(std::move(exported.array))};
}

} // namespace

table from_arrow(ArrowArrayStream &stream, const encoding_choices &choices) {
  return checked([&] { return made(::store::import_arrow(stream, internal(choices))); });
}

table from_arrow(ArrowSchema &schema, ArrowArray &batch, const encoding_choices &choices) {
  return checked([&] { return made(::store::import_arrow(schema, batch, internal(choices))); });
}

ArrowArrayStream to_arrow(const vorn_ctx &ctx, const table &of, const std::vector<std::string> &columns) {
  return exported(ctx, of, std::nullopt, columns);
}

ArrowArrayStream to_arrow(const vorn_ctx &ctx, const table &of, const selection &rows,
                          const std::vector<std::string> &columns) {
  if (rows.rows() != of.rows())
    throw error("the selection is of a table with another number of rows");
  return exported(ctx, of, access::counted(rows), columns);
}

arrow_column booleans_to_arrow(const selection &rows) {
  return released(::store::exported_booleans(access::counted(rows), rows.rows()));
}

arrow_column row_numbers_to_arrow(const selection &rows) {
  return released(::store::exported_row_numbers(access::counted(rows), rows.rows()));
}

} // namespace vorn::store
