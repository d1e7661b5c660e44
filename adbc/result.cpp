#include "adbc/result.hpp"

#include <cerrno>
#include <new>
#include <utility>

#include "adbc/failure.hpp"
#include "store/error.hpp"
#include "store/run/worker_pool.hpp"

namespace store::adbc {

namespace {

// The stream's own data.
struct stream_state {
  std::unique_ptr<result> rows;
  std::string query;
  AdbcStatusCode status = ADBC_STATUS_OK;
  AdbcError error{nullptr, ADBC_ERROR_VENDOR_CODE_PRIVATE_DATA, {}, nullptr, nullptr, nullptr};

  stream_state(std::unique_ptr<result> of, std::string text) : rows(std::move(of)), query(std::move(text)) {}
  stream_state(const stream_state &) = delete;
  ~stream_state() { clear(); }

  void clear() {
    status = ADBC_STATUS_OK;
    if (error.release != nullptr)
      error.release(&error);
  }
};

stream_state &state_of(ArrowArrayStream *stream) { return *static_cast<stream_state *>(stream->private_data); }

int errno_of(AdbcStatusCode status) {
  switch (status) {
  case ADBC_STATUS_CANCELLED:
    return ECANCELED;
  case ADBC_STATUS_NOT_FOUND:
    return ENOENT;
  case ADBC_STATUS_IO:
    return EIO;
  case ADBC_STATUS_NOT_IMPLEMENTED:
    return ENOSYS;
  default:
    return EINVAL;
  }
}

template <class Record, class Make>
int answered(ArrowArrayStream *stream, Record *out, const Make &make) noexcept {
  stream_state &state = state_of(stream);
  state.clear();
  try {
    *out = make(*state.rows);
    return 0;
  } catch (...) {
    state.status = report_handled(&state.error, [&] { return state.query; });
    return errno_of(state.status);
  }
}

int get_schema(ArrowArrayStream *stream, ArrowSchema *out) {
  return answered(stream, out, [](result &rows) { return rows.schema(); });
}
int get_next(ArrowArrayStream *stream, ArrowArray *out) {
  return answered(stream, out, [](result &rows) { return rows.next(); });
}
const char *last_error(ArrowArrayStream *stream) { return state_of(stream).error.message; }
void release_stream(ArrowArrayStream *stream) {
  delete &state_of(stream);
  stream->private_data = nullptr;
  stream->release = nullptr;
}

class batch_result final : public result {
public:
  batch_result(schema_parts schema, std::optional<array_parts> batch)
      : schema_(std::move(schema)), batch_(std::move(batch)) {}

  ArrowSchema schema() override { return exported(schema_); }
  ArrowArray next() override {
    auto out = std::exchange(batch_, std::nullopt);
    return out ? exported(std::move(*out)) : ArrowArray{};
  }

private:
  schema_parts schema_;
  std::optional<array_parts> batch_;
};

// One query that runs.
class running_query {
public:
  running_query(planned_query planned, connection &on, const connection::turn &now, const execution &run)
      : threads_(on.of().threads()), memory_(threads_.threads()), rows_(now.session.operators(planned.query.root)),
        stream_(exported_rows(*rows_, planned.query.names, {on.of().library(), threads_, run.is_cancelled, memory_},
                              planned.range)) {}

  std::vector<logical::sql_type> types() const {
    std::vector<logical::sql_type> out;
    for (const exec::layout &column : rows_->columns())
      out.push_back(column.type);
    return out;
  }
  ArrowArray next() {
    ArrowArray out{};
    check(stream_->get_next(&*stream_, &out));
    return out;
  }

private:
  void check(int code) {
    if (code == ENOMEM)
      throw std::bad_alloc();
    if (code != 0)
      throw failure_of(stream_->get_last_error(&*stream_));
  }

  worker_pool threads_; // its own, since another result may be half read
  std::vector<exec::arena> memory_;
  exec::relation_ptr rows_;
  arrow_owner<ArrowArrayStream> stream_; // ends before what it reads
};

class query_result final : public result {
public:
  query_result(std::shared_ptr<connection> on, std::shared_ptr<execution> run, size_t count,
               std::function<planned_query(sql::session &, size_t)> plan)
      : on_(std::move(on)), run_(std::move(run)), count_(count), plan_(std::move(plan)) {
    begin(connection::turn(*on_, *run_));
    types_ = running_->types();
  }

  ArrowSchema schema() override { return exported_schema(types_, names_); }

  ArrowArray next() override {
    if (run_->is_cancelled) // batches that are there already are dropped
      throw exec::interrupted();
    if (count_ == 0)
      return {};
    for (;;) {
      try {
        ArrowArray out = running_->next();
        if (out.release != nullptr || done_ >= count_)
          return out;
      } catch (const failure &) {
        if (run_->is_cancelled)
          throw exec::interrupted();
        throw;
      }
      begin(connection::turn(*on_, *run_));
    }
  }

private:
  void begin(const connection::turn &now) {
    running_.reset();
    planned_query planned = plan_(now.session, done_++);
    names_ = planned.query.names;
    running_ = std::make_unique<running_query>(std::move(planned), *on_, now, *run_);
  }

  std::shared_ptr<connection> on_;
  std::shared_ptr<execution> run_;
  size_t count_;
  size_t done_ = 0; // queries that have begun
  std::function<planned_query(sql::session &, size_t)> plan_;
  std::unique_ptr<running_query> running_;
  std::vector<logical::sql_type> types_; // of the columns
  std::vector<std::string> names_;
};

} // namespace

ArrowArrayStream stream_of(std::unique_ptr<result> rows, std::string query) {
  ArrowArrayStream out{};
  out.get_schema = get_schema;
  out.get_next = get_next;
  out.get_last_error = last_error;
  out.release = release_stream;
  out.private_data = new stream_state(std::move(rows), std::move(query));
  return out;
}

const AdbcError *error_of(ArrowArrayStream *stream, AdbcStatusCode *status) noexcept {
  if (stream == nullptr || stream->release != release_stream || state_of(stream).status == ADBC_STATUS_OK)
    return nullptr;
  if (status != nullptr)
    *status = state_of(stream).status;
  return &state_of(stream).error;
}

std::unique_ptr<result> one_batch(schema_parts schema, std::optional<array_parts> batch) {
  return std::make_unique<batch_result>(std::move(schema), std::move(batch));
}

std::unique_ptr<result> rows_of(std::shared_ptr<connection> on, std::shared_ptr<execution> run, size_t count,
                                std::function<planned_query(sql::session &, size_t)> plan) {
  return std::make_unique<query_result>(std::move(on), std::move(run), count, std::move(plan));
}

} // namespace store::adbc
