// Failures of calls in the form of the standard: a status, a message, an SQLSTATE.
//
// No exception leaves the driver.  The functions of the table run their work in `guarded`.  This function reports
// exceptions.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

#include "adbc/adbc.h"

namespace store::adbc {

// A fault that the driver finds itself.
struct failure : std::runtime_error {
  failure(AdbcStatusCode code, std::string state, const std::string &message)
      : std::runtime_error(message), status(code), sqlstate(std::move(state)) {}

  AdbcStatusCode status;
  std::string sqlstate; // five characters
};

// The usual ones.
failure invalid_argument(const std::string &message);
failure invalid_state(const std::string &message);
failure not_implemented(const std::string &message);
failure not_found(const std::string &message);

// An exception of any kind as a failure.  The status of an error of DuckDB or of the store follows from the beginning
// of its message.
failure failure_of(const std::exception_ptr &thrown);
failure failure_of(const std::string &message);

// Fills a record of the caller and returns the status.  The record may be null.  `query` is the text that failed, or
// empty.  The text becomes a detail of the error.
AdbcStatusCode report(AdbcError *to, const failure &of, const std::string &query = {}) noexcept;
// The same where there is no memory for a message.  Takes none.
AdbcStatusCode report_no_memory(AdbcError *to) noexcept;

// Reports the exception that is handled.  `query` gives the text that failed.
template <class Query>
AdbcStatusCode report_handled(AdbcError *to, const Query &query) noexcept {
  try {
    return report(to, failure_of(std::current_exception()), query());
  } catch (...) {
    return report_no_memory(to);
  }
}

// The details of a record.
int detail_count(const AdbcError *of) noexcept;
AdbcErrorDetail detail_of(const AdbcError *of, int index) noexcept;

// Runs the work of a call.
template <class Work>
AdbcStatusCode guarded(AdbcError *error, const Work &work) noexcept {
  try {
    work();
    return ADBC_STATUS_OK;
  } catch (...) {
    return report_handled(error, [] { return std::string(); });
  }
}

} // namespace store::adbc
