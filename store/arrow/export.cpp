#include "store/arrow/export.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <functional>
#include <memory>
#include <new>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/arrow/arrow_type.hpp"
#include "store/arrow/batch_writer.hpp"
#include "store/arrow/exported.hpp"
#include "store/arrow/relation_batches.hpp"
#include "store/error.hpp"
#include "store/operator/column_reader.hpp"

namespace store {

namespace {

static_assert(std::endian::native == std::endian::little, "only so are words the bytes of a bitmap of Arrow");

template <class Number>
array_parts row_numbers(const selection &selected, uint64_t rows) {
  vorn_host::aligned_vector<Number> numbers;
  numbers.reserve(selected.count);
  std::vector<uint32_t> of_batch;
  for (size_t i = 0; i < selected.row_group_counts.size(); ++i) {
    const uint64_t first = i * uint64_t{row_group_rows};
    of_batch.resize(selected.row_group_counts[i]);
    vorn_lbiwv_ictx ones{};
    vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&ones, selected.row_group_words(i),
                                              std::min<uint64_t>(row_group_rows, rows - first), 0, 0);
    vorn_global_ctx.vorn_lbiwvones_dydi(&ones, of_batch.data(), selected.row_group_counts[i]);
    for (uint32_t row : of_batch)
      numbers.push_back(static_cast<Number>(first + row));
  }
  return {static_cast<int64_t>(selected.count), 0, {arrow_buffer(), arrow_buffer(std::move(numbers))}};
}

// Each call gives some rows to a taker, as decoded vectors.  Returns false at the end.
using plain_taker = std::function<void(std::span<const exec::vector> columns, uint32_t rows)>;
using row_feed = std::function<bool(const plain_taker &take)>;

std::vector<schema_parts> fields_of(std::span<const exec::layout> columns, std::span<const std::string> names) {
  std::vector<schema_parts> out;
  for (size_t c = 0; c < columns.size(); ++c) {
    const column_type &type = columns[c].held();
    out.push_back({format_of(type), names[c], metadata_of(type), columns[c].has_nulls});
  }
  return out;
}

// Makes the next batches.  There may be none.  Returns false at the end.
using batch_source = std::function<bool(batch_queue &to)>;

batch_source batches_of(std::span<const exec::layout> columns, row_feed feed, const arrow_batch_limits &limits) {
  return [feed = std::move(feed), writer = std::make_shared<batch_writer>(columns, limits)](batch_queue &to) {
    const bool goes_on =
        feed([&](std::span<const exec::vector> values, uint32_t rows) { writer->append(values, rows); });
    if (!goes_on)
      writer->end_batch();
    to = writer->take();
    return goes_on;
  };
}

// The data of the stream.
class outgoing_rows {
public:
  outgoing_rows(std::vector<schema_parts> fields, batch_source source)
      : fields_(std::move(fields)), source_(std::move(source)) {}
  outgoing_rows(const outgoing_rows &) = delete;

  ArrowSchema schema() const { return exported({"+s", "", "", false, fields_}); }

  // A released array at the end.
  ArrowArray batch() {
    while (ready_.empty() && !at_end_)
      at_end_ = !source_(ready_);
    if (ready_.empty())
      return {};
    array_parts out = std::move(ready_.front());
    ready_.pop_front();
    return exported(std::move(out));
  }

  std::string last_error;

private:
  std::vector<schema_parts> fields_;
  batch_source source_;
  batch_queue ready_;
  bool at_end_ = false;
};

// Columns of a table, read a row group at a time.
class table_feed {
public:
  table_feed(const vorn_ctx &ctx, std::span<const column *const> of, std::optional<selection> rows)
      : selected_(std::move(rows)) {
    std::vector<column_info> infos;
    for (const column *c : of)
      infos.push_back({c->name, {}, c->type});
    const auto not_owned = [of = std::vector(of.begin(), of.end())](size_t index) {
      return std::shared_ptr<const column>(std::shared_ptr<void>(), of[index]);
    };
    table_ = std::make_unique<exec::table>("", std::move(infos), of.front()->rows, not_owned);
    for (size_t c = 0; c < of.size(); ++c) {
      layouts_.push_back(exec::layout_of(*table_, c));
      layouts_.back().type.held = of[c]->type;
      readers_.emplace_back(ctx, *of[c], layouts_.back().form, table_->values_of(c).get(), nullptr);
    }
  }

  const std::vector<exec::layout> &layouts() const { return layouts_; }

  bool give(const plain_taker &take) {
    const uint64_t first = next_ * uint64_t{row_group_rows};
    if (first >= table_->rows())
      return false;
    const auto rows = static_cast<uint32_t>(std::min<uint64_t>(row_group_rows, table_->rows() - first));
    positions_.resize(selected_ ? selected_->row_group_counts[next_] : rows);
    if (selected_)
      fill_positions(rows);
    else
      std::iota(positions_.begin(), positions_.end(), 0);
    std::vector<exec::vector> columns(readers_.size());
    for (std::span<const uint32_t> rest = positions_; !rest.empty();) {
      const std::span<const uint32_t> some = rest.first(std::min<size_t>(rest.size(), exec::chunk_rows));
      rest = rest.subspan(some.size());
      memory_.rewind({});
      for (size_t c = 0; c < readers_.size(); ++c)
        columns[c] = exec::plain_values(readers_[c].read(next_, some, memory_), layouts_[c], memory_);
      take(columns, static_cast<uint32_t>(some.size()));
    }
    ++next_;
    return true;
  }

private:
  void fill_positions(uint32_t rows) {
    vorn_lbiwv_ictx ones{};
    vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&ones, selected_->row_group_words(next_), rows, 0, 0);
    vorn_global_ctx.vorn_lbiwvones_dydi(&ones, positions_.data(), static_cast<uint32_t>(positions_.size()));
  }

  std::optional<selection> selected_; // empty for all rows
  std::unique_ptr<exec::table> table_;
  std::vector<exec::layout> layouts_;
  std::vector<exec::column_reader> readers_;
  exec::arena memory_;
  std::vector<uint32_t> positions_; // in the row group
  size_t next_ = 0;                 // row group
};

// The kept rows of an answer.
class answer_feed {
public:
  explicit answer_feed(const exec::answer &of) : answer_(of) {}

  bool give(const plain_taker &take) {
    const size_t rows = std::min<size_t>(exec::chunk_rows, answer_.rows.rows() - next_);
    if (rows == 0)
      return false;
    memory_.rewind({});
    const std::span<const uint32_t> positions = exec::consecutive(next_, rows, memory_);
    std::vector<exec::vector> columns;
    for (size_t c = 0; c < answer_.columns.size(); ++c)
      columns.push_back(
          exec::plain_values(exec::gathered(answer_.rows.values(c), positions, memory_), answer_.columns[c], memory_));
    take(columns, static_cast<uint32_t>(rows));
    next_ += rows;
    return true;
  }

private:
  const exec::answer &answer_;
  exec::arena memory_;
  size_t next_ = 0; // row
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
    try {
      rows.last_error = e.what();
    } catch (const std::bad_alloc &) {
      return ENOMEM;
    }
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
  const auto from = std::make_shared<table_feed>(ctx, columns, std::move(selected));
  std::vector<std::string> names;
  for (const column *c : columns)
    names.push_back(c->name);
  return stream_of(std::make_unique<outgoing_rows>(
      fields_of(from->layouts(), names),
      batches_of(
          from->layouts(), [from](const plain_taker &take) { return from->give(take); }, limits)));
}

arrow_owner<ArrowArrayStream> exported_rows(exec::relation &rows, std::span<const std::string> names,
                                            const exec::query_run &run, const morsel_range &range,
                                            const arrow_batch_limits &limits) {
  rows.open(run);
  const auto from = std::make_shared<relation_batches>(rows, run, range, limits);
  std::vector<schema_parts> fields = fields_of(rows.columns(), names);
  // The schema of a query does not depend on its rows, so every column may have NULLs.
  for (schema_parts &field : fields)
    field.is_nullable = true;
  return stream_of(
      std::make_unique<outgoing_rows>(std::move(fields), [from](batch_queue &to) { return from->make(to); }));
}

ArrowSchema exported_schema(std::span<const logical::sql_type> types, std::span<const std::string> names) {
  std::vector<schema_parts> fields;
  for (size_t c = 0; c < types.size(); ++c) {
    if (!types[c].held)
      throw error(fmt::format("column '{}' has the type {}, which is not exported", shortened(names[c]),
                              shortened(types[c].name)));
    fields.push_back({format_of(*types[c].held), names[c], metadata_of(*types[c].held), true});
  }
  return exported({"+s", "", "", false, std::move(fields)});
}

arrow_owner<ArrowArrayStream> exported_rows(const exec::answer &rows, const arrow_batch_limits &limits) {
  const auto from = std::make_shared<answer_feed>(rows);
  return stream_of(std::make_unique<outgoing_rows>(
      fields_of(rows.columns, rows.names),
      batches_of(
          rows.columns, [from](const plain_taker &take) { return from->give(take); }, limits)));
}

} // namespace store
