#include "store/arrow/export.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "store/arrow/array_writer.hpp"
#include "store/arrow/arrow_type.hpp"
#include "store/arrow/exported.hpp"
#include "store/decode/code_reader.hpp"
#include "store/error.hpp"

namespace store {

namespace {

static_assert(std::endian::native == std::endian::little, "only so are words the bytes of a bitmap of Arrow");

template <class Number>
array_parts row_numbers(const selection &selected, uint64_t rows) {
  vorn_host::aligned_vector<Number> numbers;
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
struct outgoing_column {
  std::unique_ptr<array_writer> writer;
  std::unique_ptr<code_reader> coded = {}; // null where the rows' source has its cells
  std::variant<std::span<const uint32_t>, std::span<const cell>> next = {};

  bool has_room(uint64_t most_text_bytes) const {
    return std::visit([&](auto values) { return writer->has_room_for(values, most_text_bytes); }, next);
  }
  void append() {
    std::visit([&](auto values) { writer->append(values); }, next);
  }
};

// The stream's own data.
class outgoing_rows {
public:
  outgoing_rows(const vorn_ctx &ctx, std::span<const column *const> of, std::optional<selection> rows,
                const arrow_batch_limits &limited)
      : selected_(rows ? std::make_shared<const selection>(std::move(*rows)) : nullptr), limits_(limited) {
    std::vector<const column *> read;
    for (const column *c : of) {
      add({c->name, c->type}, c->has_nulls(), std::get_if<dictionary>(&c->values));
      if (c->is_dictionary())
        columns_.back().coded = std::make_unique<code_reader>(ctx, *c, selected_.get());
      else
        read.push_back(c);
    }
    if (!read.empty())
      source_ = std::make_unique<table_scan>(ctx, read, selected_);
    go_on();
  }
  outgoing_rows(std::unique_ptr<row_source> rows, std::span<const heading> headings, const arrow_batch_limits &limited)
      : source_(std::move(rows)), limits_(limited) {
    for (const heading &h : headings)
      add(h, true, nullptr);
    go_on();
  }
  outgoing_rows(const outgoing_rows &) = delete;

  ArrowSchema schema() const { return exported({"+s", "", "", false, fields_}); }

  // A released one at the end.
  ArrowArray batch() {
    array_parts out{0, 0, {arrow_buffer()}};
    while (waiting_ != 0 && (out.length == 0 || has_room(static_cast<uint64_t>(out.length)))) {
      for (outgoing_column &c : columns_)
        c.append();
      out.length += static_cast<int64_t>(waiting_);
      go_on();
    }
    if (out.length == 0)
      return {};
    for (outgoing_column &c : columns_)
      out.children.push_back(c.writer->finish());
    return exported(std::move(out));
  }

  std::string last_error;

private:
  void add(const heading &of, bool has_nulls, const dictionary *entries) {
    columns_.push_back({writer_of(of.type, has_nulls, entries)});
    fields_.push_back({format_of(of.type), of.name, metadata_of(of.type), has_nulls});
  }

  // All columns have equally many rows; none at the end.
  void go_on() {
    waiting_ = source_ ? source_->next() : 0;
    size_t cells = 0;
    for (outgoing_column &c : columns_)
      if (c.coded) {
        const std::span<const uint32_t> codes = c.coded->next();
        waiting_ = codes.size();
        c.next = codes;
      } else if (waiting_ != 0) {
        c.next = source_->rows()[cells++];
      }
  }

  bool has_room(uint64_t rows) const {
    return rows + waiting_ <= limits_.rows &&
           std::all_of(columns_.begin(), columns_.end(),
                       [&](const outgoing_column &c) { return c.has_room(limits_.text_bytes); });
  }

  std::shared_ptr<const selection> selected_; // null for all rows
  std::unique_ptr<row_source> source_;        // null where all columns have codes
  arrow_batch_limits limits_;
  std::vector<outgoing_column> columns_;
  std::vector<schema_parts> fields_;
  uint64_t waiting_ = 0; // rows that no batch has yet
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

arrow_owner<ArrowArrayStream> stream_of(std::unique_ptr<outgoing_rows> rows) {
  ArrowArrayStream out{};
  out.get_schema = [](ArrowArrayStream *stream, ArrowSchema *schema) {
    return answered(stream, schema, [](const outgoing_rows &from) { return from.schema(); });
  };
  out.get_next = [](ArrowArrayStream *stream, ArrowArray *batch) {
    return answered(stream, batch, [](outgoing_rows &from) { return from.batch(); });
  };
  out.get_last_error = [](ArrowArrayStream *stream) -> const char * {
    const std::string &reason = rows_of(stream).last_error;
    return reason.empty() ? nullptr : reason.c_str();
  };
  out.release = [](ArrowArrayStream *stream) {
    delete &rows_of(stream);
    stream->release = nullptr;
  };
  out.private_data = rows.release();
  return arrow_owner(out);
}

} // namespace

arrow_column exported_booleans(selection selected, uint64_t rows) {
  return {arrow_owner(exported(schema_parts{"b"})),
          arrow_owner(exported(
              array_parts{static_cast<int64_t>(rows), 0, {arrow_buffer(), arrow_buffer(std::move(selected.words))}}))};
}

arrow_column exported_row_numbers(const selection &selected, uint64_t rows) {
  const bool is_narrow = rows <= uint64_t{1} << 32;
  return {
      arrow_owner(exported(schema_parts{is_narrow ? "I" : "L"})),
      arrow_owner(exported(is_narrow ? row_numbers<uint32_t>(selected, rows) : row_numbers<uint64_t>(selected, rows)))};
}

arrow_owner<ArrowArrayStream> exported_rows(const vorn_ctx &ctx, std::span<const column *const> columns,
                                            std::optional<selection> selected, const arrow_batch_limits &limits) {
  if (columns.empty())
    throw error("no column is to be handed out");
  return stream_of(std::make_unique<outgoing_rows>(ctx, columns, std::move(selected), limits));
}

arrow_owner<ArrowArrayStream> exported_rows(std::unique_ptr<row_source> rows, std::span<const heading> columns,
                                            const arrow_batch_limits &limits) {
  return stream_of(std::make_unique<outgoing_rows>(std::move(rows), columns, limits));
}

} // namespace store
