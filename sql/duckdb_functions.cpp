#include "sql/duckdb_functions.hpp"

#include <algorithm>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "sql/connection.hpp"
#include "sql/functions.hpp"
#include "sql/own_query.hpp"
#include "sql/polygon_function.hpp"
#include "sql/vectors.hpp"
#include "store/error.hpp"

namespace store::sql {

namespace {

using exec::arena;
using logical::expression;
using logical::sql_type;

// The rows that the table function vorn_values gives to a query.  The query contains the address of this object.
struct given_values {
  struct column {
    size_t index; // of the expression's inputs
    sql_type type;
    duckdb::logical_type duckdb_type;
  };
  std::vector<column> columns;

  std::span<const exec::vector> inputs; // of the call
  uint32_t rows = 0;
  uint32_t given = 0;
};

given_values &values_named(duckdb_value address) {
  // A parameter of SQL carries the address.  NOLINTNEXTLINE(performance-no-int-to-ptr)
  auto *out = reinterpret_cast<given_values *>(duckdb_get_uint64(address));
  duckdb_destroy_value(&address);
  return *out;
}

void bind_values(duckdb_bind_info info) {
  given_values &of = values_named(duckdb_bind_get_parameter(info, 0));
  for (const given_values::column &column : of.columns)
    duckdb_bind_add_result_column(info, fmt::format("c{}", column.index).c_str(), column.duckdb_type.get());
  duckdb_bind_set_bind_data(info, &of, nullptr);
}

void give_values(duckdb_function_info info, duckdb_data_chunk output) {
  given_values &of = *static_cast<given_values *>(duckdb_function_get_bind_data(info));
  const uint32_t rows = std::min(static_cast<uint32_t>(duckdb_vector_size()), of.rows - of.given);
  for (size_t i = 0; i < of.columns.size(); ++i)
    if (const given_values::column &column = of.columns[i]; column.index < of.inputs.size())
      to_duckdb(of.inputs[column.index], column.type, of.given, rows, duckdb_data_chunk_get_vector(output, i));
  duckdb_data_chunk_set_size(output, rows);
  of.given += rows;
}

// A vector that is filled piece by piece.
class pieces {
public:
  pieces(exec::representation form, uint32_t rows, arena &memory) : memory_(memory) {
    whole_.form = form;
    whole_.rows = rows;
    exec::with_type(form, [&]<class T>(T) { whole_.data = memory.take<T>(rows).data(); });
  }

  void add(const exec::vector &piece) {
    exec::with_type(whole_.form, [&]<class T>(T) {
      const auto from = piece.values<T>();
      std::copy(from.begin(), from.end(), static_cast<T *>(const_cast<void *>(whole_.data)) + filled_);
    });
    if (piece.validity != nullptr) {
      if (validity_.empty())
        validity_ = exec::all_valid(memory_, whole_.rows);
      for (uint32_t row = 0; row < piece.rows; ++row)
        if (piece.is_null(row))
          exec::set_null(validity_, filled_ + row);
    }
    filled_ += piece.rows;
  }

  exec::vector whole() const {
    exec::vector out = whole_;
    out.validity = validity_.empty() ? nullptr : validity_.data();
    return out;
  }
  uint32_t filled() const { return filled_; }

private:
  arena &memory_;
  exec::vector whole_;
  std::span<uint64_t> validity_;
  uint32_t filled_ = 0;
};

class duckdb_function final : public exec::scalar_function {
public:
  duckdb_function(duckdb::connection connected, const expression &what, std::span<const sql_type> inputs)
      : connection_(std::move(connected)), type_(what.type) {
    std::set<size_t> read;
    logical::for_each_column(what, [&](size_t index) { read.insert(index); });
    for (size_t index : read)
      add_column(index, inputs[index]);
    if (read.empty()) // a query has a column
      add_column(inputs.size(), sql_type("BOOLEAN"));
    prepared_.emplace(connection_.prepare(fmt::format("SELECT CAST({} AS {}) FROM vorn_values({}::UBIGINT)", what.sql,
                                                      type_.name, reinterpret_cast<uintptr_t>(values_.get()))));
  }

  exec::vector run(std::span<const exec::vector> inputs, uint32_t rows, arena &memory) override {
    return duckdb::own_query([&] { return values_of(inputs, rows, memory); });
  }

private:
  exec::vector values_of(std::span<const exec::vector> inputs, uint32_t rows, arena &memory) {
    values_->inputs = inputs;
    values_->rows = rows;
    values_->given = 0;
    pieces out(exec::plain_representation(*type_.held), rows, memory);
    duckdb::result answer = prepared_->stream();
    while (const auto chunk = answer.next()) {
      const auto chunk_rows = static_cast<uint32_t>(chunk->rows());
      const exec::vector piece = from_duckdb(chunk->column(0), type_, chunk_rows, memory);
      if (chunk_rows == rows)
        return piece;
      out.add(piece);
    }
    if (out.filled() != rows)
      throw error("DuckDB gave another number of values than it was given");
    return out.whole();
  }

  void add_column(size_t index, const sql_type &type) {
    values_->columns.push_back({index, type, duckdb::type_named(connection_, type.name)});
  }

  duckdb::connection connection_;
  sql_type type_;
  std::unique_ptr<given_values> values_ = std::make_unique<given_values>();
  std::optional<duckdb::statement> prepared_;
};

} // namespace

struct duckdb_functions::state {
  explicit state(const vorn_ctx &library) : inside(library) {}

  // Another connection with the database.  The first call opens it.
  duckdb::connection connected() {
    const std::lock_guard lock(guard);
    if (!is_open) {
      duckdb::add_function(database,
                           {"vorn_values", "UBIGINT", nullptr, bind_values, [](duckdb_init_info) {}, give_values});
      inside.add_to(database);
      is_open = true;
    }
    return database.another();
  }

  polygon_function inside;
  std::mutex guard; // of the database
  duckdb::connection database{1};
  bool is_open = false;
};

duckdb_functions::duckdb_functions(const vorn_ctx &library) : state_(new state(library)) {}
duckdb_functions::~duckdb_functions() = default;

std::unique_ptr<exec::scalar_function> duckdb_functions::bind(const expression &what,
                                                              std::span<const sql_type> inputs) {
  if (!what.type.held)
    throw error(fmt::format("values of the type {} are not stored", what.type.name));
  return std::make_unique<duckdb_function>(state_->connected(), what, inputs);
}

} // namespace store::sql
