// DuckDB through its C API: reads files for the loader and answers the same queries as the store.
//
// The classes own the handles of the C API.  A failure is a store::error with DuckDB's message.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/logical/sql.hpp"

namespace store::duckdb {

// A text in a vector of DuckDB: its length, then its bytes.  If there are more than 12 bytes: its length, the first
// four bytes and a pointer to all bytes.
struct text_value {
  uint32_t length;
  char bytes[12];

  const char *pointer() const {
    const char *out;
    std::memcpy(&out, bytes + 4, sizeof out);
    return out;
  }
  // A longer text is not copied.  Its bytes must outlive this object.
  static text_value of(std::string_view text) {
    text_value out{static_cast<uint32_t>(text.size()), {}};
    if (text.size() <= sizeof out.bytes) {
      std::copy(text.begin(), text.end(), out.bytes);
    } else {
      const char *const all = text.data();
      std::memcpy(out.bytes, all, 4);
      std::memcpy(out.bytes + 4, &all, sizeof all);
    }
    return out;
  }
};

// One column of a chunk.  Valid as long as the chunk.
class vector {
public:
  vector(const void *data, const uint64_t *validity) : values_(data), valid_rows_(validity) {}

  bool is_null(uint64_t row) const { return valid_rows_ != nullptr && (valid_rows_[row / 64] >> (row % 64) & 1) == 0; }

  // T is the in-memory type of the column: int64_t of BIGINT and TIMESTAMP, int32_t of DATE, double of DOUBLE, __int128
  // of HUGEINT.
  template <class T>
  T number(uint64_t row) const {
    T out;
    std::memcpy(&out, static_cast<const char *>(values_) + row * sizeof out, sizeof out);
    return out;
  }
  std::string_view text(uint64_t row) const {
    const auto &value = static_cast<const text_value *>(values_)[row];
    return {value.length <= sizeof value.bytes ? value.bytes : value.pointer(), value.length};
  }

  // The bits of valid rows.  Null when no row is NULL.
  const void *data() const { return values_; }
  const uint64_t *validity() const { return valid_rows_; }

private:
  const void *values_;
  const uint64_t *valid_rows_; // null when no row is NULL
};

// Some thousand consecutive rows of a result.
class chunk {
public:
  uint64_t rows() const;
  vector column(uint64_t index) const;

private:
  friend class result;
  struct closer {
    void operator()(void *closed) const;
  };
  explicit chunk(void *opened) : handle_(opened) {}
  std::unique_ptr<void, closer> handle_;
};

class result {
public:
  // The next rows, or nothing at the end.
  std::optional<chunk> next();

private:
  friend class connection;
  friend class statement;
  struct state;
  struct closer {
    void operator()(state *s) const;
  };
  result();
  std::unique_ptr<state, closer> owned_;
};

// A query that was planned once and can be run many times.
class statement {
public:
  result run();
  // The same, but each fetch makes its rows.  The next query of the connection ends this result.
  result stream();

  // Does it return rows and change nothing, like SELECT, FROM, VALUES and DESCRIBE?
  bool is_query() const;
  // The names of the columns.
  std::vector<std::string> names() const;
  // The handle, for calls that this class does not wrap.
  void *handle() const { return handle_.get(); }

private:
  friend class connection;
  struct closer {
    void operator()(void *closed) const;
  };
  explicit statement(void *opened) : handle_(opened) {}
  std::unique_ptr<void, closer> handle_;
};

// A private in-memory database.  The first query opens it.  This takes as long as a whole query of a saved table, and
// many queries of saved tables never need it.
class connection {
public:
  // The number of threads.  The default is the number of processors.
  explicit connection(std::optional<uint32_t> chosen_threads = {}) : threads_(chosen_threads) {}

  // Another connection with the same database, for a second thread or for a query while another one runs.
  connection another();

  result query(const std::string &sql);
  // The same, but each fetch makes its rows.  The next query ends this result.
  result stream(const std::string &sql);
  statement prepare(const std::string &sql);
  // The names of the tables that a query reads, as the text writes them.  A name may occur several times.  Empty for a
  // text that is not a query.
  std::vector<std::string> table_names(const std::string &sql);

  // The duckdb_connection, for calls that this class does not wrap.
  void *opened();
  // Ends the running query.  Called from another thread or from a signal handler.
  void interrupt();

private:
  struct connection_closer {
    void operator()(void *closed) const;
  };
  void connect();

  std::optional<uint32_t> threads_;
  std::shared_ptr<void> database_;
  std::unique_ptr<void, connection_closer> handle_;
};

// The version of the library, such as "v1.5.6".
std::string version();

using logical::quoted_name;
using logical::quoted_text;

// A name in lower case, for comparisons as in SQL.
std::string lower_case(std::string_view name);

} // namespace store::duckdb
