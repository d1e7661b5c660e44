#include "store/arrow/export.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <deque>
#include <functional>
#include <memory>
#include <new>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "store/arrow/array_writer.hpp"
#include "store/arrow/arrow_type.hpp"
#include "store/arrow/exported.hpp"
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

// Gives some rows to a taker, as vectors without codes, each time that it is asked.  Returns false at the end.
using plain_taker = std::function<void(std::span<const exec::vector> columns, uint32_t rows)>;
using row_feed = std::function<bool(const plain_taker &take)>;

// The stream's own data.
class outgoing_rows {
public:
  outgoing_rows(std::span<const exec::layout> columns, std::span<const std::string> names, row_feed feed,
                const arrow_batch_limits &limited)
      : feed_(std::move(feed)), limits_(limited) {
    for (size_t c = 0; c < columns.size(); ++c) {
      const column_type &type = columns[c].held();
      writers_.push_back(writer_of(type));
      fields_.push_back({format_of(type), names[c], metadata_of(type), columns[c].has_nulls});
    }
  }
  outgoing_rows(const outgoing_rows &) = delete;

  ArrowSchema schema() const { return exported({"+s", "", "", false, fields_}); }

  // A released one at the end.
  ArrowArray batch() {
    while (ready_.empty() && !at_end_) {
      at_end_ = !feed_([this](std::span<const exec::vector> columns, uint32_t rows) { append(columns, rows); });
      if (at_end_ && waiting_ != 0)
        end_batch();
    }
    if (ready_.empty())
      return {};
    array_parts out = std::move(ready_.front());
    ready_.pop_front();
    return exported(std::move(out));
  }

  std::string last_error;

private:
  void append(std::span<const exec::vector> columns, uint32_t rows) {
    if (waiting_ != 0 && !has_room(columns, rows))
      end_batch();
    for (size_t c = 0; c < columns.size(); ++c)
      writers_[c]->append(columns[c]);
    waiting_ += rows;
  }

  bool has_room(std::span<const exec::vector> columns, uint32_t rows) const {
    bool out = waiting_ + rows <= limits_.rows;
    for (size_t c = 0; c < columns.size() && out; ++c)
      out = writers_[c]->has_room_for(columns[c], limits_.text_bytes);
    return out;
  }

  void end_batch() {
    array_parts out{static_cast<int64_t>(std::exchange(waiting_, 0)), 0, {arrow_buffer()}};
    for (const auto &writer : writers_)
      out.children.push_back(writer->finish());
    ready_.push_back(std::move(out));
  }

  row_feed feed_;
  arrow_batch_limits limits_;
  std::vector<std::unique_ptr<array_writer>> writers_;
  std::vector<schema_parts> fields_;
  uint64_t waiting_ = 0; // rows that no batch has yet
  std::deque<array_parts> ready_;
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
    const uint64_t first = next_ * uint64_t{batch_rows};
    if (first >= table_->rows())
      return false;
    const auto rows = static_cast<uint32_t>(std::min<uint64_t>(batch_rows, table_->rows() - first));
    positions_.resize(selected_ ? selected_->batch_counts[next_] : rows);
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
    vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&ones, selected_->batch_words(next_), rows, 0, 0);
    vorn_global_ctx.vorn_lbiwvones_dydi(&ones, positions_.data(), static_cast<uint32_t>(positions_.size()));
  }

  std::optional<selection> selected_; // nothing for all rows
  std::unique_ptr<exec::table> table_;
  std::vector<exec::layout> layouts_;
  std::vector<exec::column_reader> readers_;
  exec::arena memory_;
  std::vector<uint32_t> positions_; // in the row group
  size_t next_ = 0;                 // row group
};

// The rows of opened operators, a morsel at a time.
class relation_feed {
public:
  relation_feed(exec::relation &from, const exec::query_run &run) : rows_(from), run_(run) {}

  bool give(const plain_taker &take) {
    if (next_ == rows_.morsels())
      return false;
    if (run_.is_interrupted)
      throw exec::interrupted();
    exec::arena &memory = run_.memory.front();
    const exec::arena::mark begun = memory.here();
    if (!stream_)
      stream_ = rows_.begin(run_, memory);
    std::vector<exec::vector> columns(rows_.columns().size());
    stream_->give(next_++, [&](exec::chunk &some) {
      for (size_t c = 0; c < columns.size(); ++c)
        columns[c] = exec::plain_values(some.column(c), rows_.columns()[c], some.memory());
      take(columns, some.rows());
    });
    memory.rewind(begun);
    return true;
  }

private:
  exec::relation &rows_;
  exec::query_run run_;
  std::unique_ptr<exec::stream> stream_;
  size_t next_ = 0; // morsel
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
  const auto from = std::make_shared<table_feed>(ctx, columns, std::move(selected));
  std::vector<std::string> names;
  for (const column *c : columns)
    names.push_back(c->name);
  return stream_of(std::make_unique<outgoing_rows>(
      from->layouts(), names, [from](const plain_taker &take) { return from->give(take); }, limits));
}

arrow_owner<ArrowArrayStream> exported_rows(exec::relation &rows, std::span<const std::string> names,
                                            const exec::query_run &run, const arrow_batch_limits &limits) {
  rows.open(run);
  const auto from = std::make_shared<relation_feed>(rows, run);
  return stream_of(std::make_unique<outgoing_rows>(
      rows.columns(), names, [from](const plain_taker &take) { return from->give(take); }, limits));
}

arrow_owner<ArrowArrayStream> exported_rows(const exec::answer &rows, const arrow_batch_limits &limits) {
  const auto from = std::make_shared<answer_feed>(rows);
  return stream_of(std::make_unique<outgoing_rows>(
      rows.columns, rows.names, [from](const plain_taker &take) { return from->give(take); }, limits));
}

} // namespace store
