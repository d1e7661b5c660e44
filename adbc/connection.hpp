// A connection: it plans queries and has threads that run them.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "adbc/database.hpp"
#include "sql/session.hpp"
#include "store/run/worker_pool.hpp"

namespace store::adbc {

// Statements and results share it, so they outlive the record of the connection.  Calls of several threads follow one
// after the other.
class connection {
public:
  explicit connection(std::shared_ptr<database> of)
      : database_(std::move(of)), threads_(database_->threads()), session_(database_->tables()) {}
  connection(const connection &) = delete;

  database &of() { return *database_; }

  // What one call executes.  No other call of the connection runs meanwhile.
  class turn {
  public:
    turn(connection &on, execution &what)
        : lock_(on.running_), scope_(what), session(on.session_), threads(on.threads_) {
      if (what.is_cancelled)
        throw exec::interrupted();
    }

  private:
    std::lock_guard<std::mutex> lock_;
    execution::scope scope_;

  public:
    sql::session &session;
    worker_pool &threads;
  };

  // A new execution, which `cancel` ends as long as somebody keeps it.
  std::shared_ptr<execution> begin();
  // Whether there was something to cancel.
  bool cancel();

private:
  std::shared_ptr<database> database_;
  std::mutex running_; // of the threads and the session
  worker_pool threads_;
  sql::session session_;
  std::mutex guard_; // of the executions
  std::vector<std::weak_ptr<execution>> executions_;
};

} // namespace store::adbc
