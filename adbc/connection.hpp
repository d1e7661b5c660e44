// A connection: it plans queries and runs them.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "adbc/database.hpp"
#include "sql/session.hpp"

namespace store::adbc {

// Statements and results share the connection, so they may outlive its record.  Calls of several threads run one after
// the other.
class connection {
public:
  explicit connection(std::shared_ptr<database> of) : database_(std::move(of)), session_(database_->tables()) {}
  connection(const connection &) = delete;

  database &of() { return *database_; }

  // The planning or execution of one call.  No other call of the connection plans or executes meanwhile.
  class turn {
  public:
    turn(connection &on, execution &what) : lock_(on.running_), scope_(what), session(on.session_) {
      if (what.is_cancelled)
        throw exec::interrupted();
    }

  private:
    std::lock_guard<std::mutex> lock_;
    execution::scope scope_;

  public:
    sql::session &session;
  };

  // Makes a table of the bytes of a .vorn file.  The bytes are copied.  All connections of the database know the table.
  // Without bytes the table is dropped.  Throws failure, and store::error for bytes that are no saved table.
  void set_table(const std::string &name, std::string_view bytes);
  std::string table_bytes(const std::string &name);

  // The text of sql::statistics_text of a table or file.  Setting it makes a table on which queries are planned and not
  // run.
  void set_statistics(const std::string &name, const std::string &text);
  std::string statistics(const std::string &name);

  // A new execution.  `cancel` ends it while it exists.
  std::shared_ptr<execution> begin();
  // Returns true if there was something to cancel.
  bool cancel();

private:
  std::shared_ptr<database> database_;
  std::mutex running_; // of the session
  sql::session session_;
  std::mutex guard_; // of the executions
  std::vector<std::weak_ptr<execution>> executions_;
};

} // namespace store::adbc
