#include "store/arrow/export.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "store/arrow/array_writer.hpp"
#include "store/arrow/arrow_type.hpp"
#include "store/arrow/handed_out.hpp"
#include "store/decode/code_unpacker.hpp"
#include "store/decode/row_reader.hpp"
#include "store/decode/row_steps.hpp"
#include "store/error.hpp"

namespace store {

namespace {

static_assert(std::endian::native == std::endian::little, "only so are words the bytes of a bitmap of Arrow");

template <class Number>
array_parts row_numbers(const selection &selected, uint64_t rows) {
  aligned_vector<Number> numbers;
  numbers.reserve(selected.count);
  std::vector<uint32_t> of_batch;
  for (size_t i = 0; i < selected.batch_counts.size(); ++i) {
    const uint64_t first = i * uint64_t{batch_rows};
    of_batch.resize(selected.batch_counts[i]);
    vorn_lbiwv_ictx ones{};
    vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&ones, selected.batch_words(i),
                                              std::min<uint64_t>(batch_rows, rows - first), 0, 0);
    vorn_global_ctx.vorn_lbiwvones_dydi(&ones, of_batch.data(), selected.batch_counts[i]);
    for (uint32_t row : of_batch)
      numbers.push_back(static_cast<Number>(first + row));
  }
  return {static_cast<int64_t>(selected.count), 0, {arrow_buffer(), arrow_buffer(std::move(numbers))}};
}

// A column on its way out, some thousand rows at a time: codes of its dictionary as they are, or values.
class outgoing_column {
public:
  outgoing_column(const vorn_ctx &ctx, const column &of, const selection *selected)
      : steps(of, selected), writer(writer_of(of)) {
    if (of.is_dictionary())
      unpacker = std::make_unique<code_unpacker>(ctx, of, code_unpacker::element::four_bytes);
    else
      reader = std::make_unique<row_reader>(ctx, of, selected);
  }

  // Goes on to the next rows and says how many they are; none at the end.
  uint64_t next() {
    if (reader)
      cells = reader->next();
    else
      codes = unpacked();
    return reader ? cells.size() : codes.size();
  }

  bool has_room(uint64_t most_text_bytes) const {
    return reader ? writer->has_room_for(cells, most_text_bytes) : writer->has_room_for(codes, most_text_bytes);
  }
  void append() { reader ? writer->append(cells) : writer->append(codes); }
  array_parts finish() { return writer->finish(); }

private:
  std::span<const uint32_t> unpacked() {
    const row_steps::step step = steps.next();
    if (step.rows == 0)
      return {};
    if (step.opens_batch)
      unpacker->open(steps.rows(), steps.filter());
    unpacker->next(step.rows);
    return {unpacker->codes_of_four_bytes(), step.rows};
  }

  row_steps steps;
  std::unique_ptr<code_unpacker> unpacker; // this or the next
  std::unique_ptr<row_reader> reader;
  std::span<const uint32_t> codes;
  std::span<const cell> cells;
  std::unique_ptr<array_writer> writer;
};

// The stream's own data.
class outgoing_rows {
public:
  outgoing_rows(const vorn_ctx &ctx, std::span<const column *const> of, std::optional<selection> rows,
                const arrow_batch_limits &limited)
      : selected(std::move(rows)), limits(limited) {
    for (const column *c : of) {
      columns.emplace_back(ctx, *c, selected ? &*selected : nullptr);
      fields.push_back({format_of(c->type), c->name, metadata_of(c->type), c->has_nulls()});
    }
    go_on();
  }
  outgoing_rows(const outgoing_rows &) = delete;

  ArrowSchema schema() const { return handed_out({"+s", "", "", false, fields}); }

  // A released one at the end.
  ArrowArray batch() {
    array_parts out{0, 0, {arrow_buffer()}};
    while (waiting != 0 && (out.length == 0 || has_room(static_cast<uint64_t>(out.length)))) {
      for (outgoing_column &c : columns)
        c.append();
      out.length += static_cast<int64_t>(waiting);
      go_on();
    }
    if (out.length == 0)
      return {};
    for (outgoing_column &c : columns)
      out.children.push_back(c.finish());
    return handed_out(std::move(out));
  }

  std::string last_error;

private:
  void go_on() {
    for (outgoing_column &c : columns)
      waiting = c.next();
  }

  bool has_room(uint64_t rows) const {
    return rows + waiting <= limits.rows && std::all_of(columns.begin(), columns.end(), [&](const outgoing_column &c) {
             return c.has_room(limits.text_bytes);
           });
  }

  std::optional<selection> selected;
  arrow_batch_limits limits;
  std::vector<outgoing_column> columns;
  std::vector<schema_parts> fields;
  uint64_t waiting = 0; // rows that no batch has yet
};

outgoing_rows &rows_of(ArrowArrayStream *stream) { return *static_cast<outgoing_rows *>(stream->private_data); }

// A library in C expects a number of errno rather than an exception.
template <class Record, class Make>
int answered(ArrowArrayStream *stream, Record *out, Make make) noexcept {
  outgoing_rows &rows = rows_of(stream);
  try {
    *out = make(rows);
    return 0;
  } catch (const std::bad_alloc &) {
    return ENOMEM;
  } catch (const std::exception &e) {
    rows.last_error = e.what();
    return EINVAL;
  }
}

} // namespace

arrow_column exported_booleans(selection selected, uint64_t rows) {
  return {arrow_owner(handed_out(schema_parts{"b"})),
          arrow_owner(handed_out(
              array_parts{static_cast<int64_t>(rows), 0, {arrow_buffer(), arrow_buffer(std::move(selected.words))}}))};
}

arrow_column exported_row_numbers(const selection &selected, uint64_t rows) {
  const bool is_narrow = rows <= uint64_t{1} << 32;
  return {arrow_owner(handed_out(schema_parts{is_narrow ? "I" : "L"})),
          arrow_owner(
              handed_out(is_narrow ? row_numbers<uint32_t>(selected, rows) : row_numbers<uint64_t>(selected, rows)))};
}

arrow_owner<ArrowArrayStream> exported_rows(const vorn_ctx &ctx, std::span<const column *const> columns,
                                            std::optional<selection> selected, const arrow_batch_limits &limits) {
  if (columns.empty())
    throw error("no column is to be handed out");
  ArrowArrayStream out{};
  out.get_schema = [](ArrowArrayStream *stream, ArrowSchema *schema) {
    return answered(stream, schema, [](const outgoing_rows &rows) { return rows.schema(); });
  };
  out.get_next = [](ArrowArrayStream *stream, ArrowArray *batch) {
    return answered(stream, batch, [](outgoing_rows &rows) { return rows.batch(); });
  };
  out.get_last_error = [](ArrowArrayStream *stream) -> const char * {
    const std::string &reason = rows_of(stream).last_error;
    return reason.empty() ? nullptr : reason.c_str();
  };
  out.release = [](ArrowArrayStream *stream) {
    delete &rows_of(stream);
    stream->release = nullptr;
  };
  out.private_data = new outgoing_rows(ctx, columns, std::move(selected), limits);
  return arrow_owner(out);
}

} // namespace store
