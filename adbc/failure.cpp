#include "adbc/failure.hpp"

#include <cstring>
#include <new>
#include <string_view>

#include "store/error.hpp"
#include "store/operator/relation.hpp"
#include <vorn/stand_in.hpp>

namespace store::adbc {

namespace {

constexpr const char *general_error = "HY000";

// The beginning of a message, a text inside it, and their meaning.  The first cause that fits counts.
struct cause {
  std::string_view begins;
  std::string_view has;
  AdbcStatusCode status;
  const char *sqlstate;
};
constexpr cause causes[] = {
    {"Parser Error", "", ADBC_STATUS_INVALID_ARGUMENT, "42601"},
    {"Syntax Error", "", ADBC_STATUS_INVALID_ARGUMENT, "42601"},
    {"Catalog Error: Table", "", ADBC_STATUS_NOT_FOUND, "42P01"},
    {"Catalog Error", "Function", ADBC_STATUS_NOT_FOUND, "42883"},
    {"Catalog Error", "", ADBC_STATUS_NOT_FOUND, "42704"},
    {"Binder Error", "column", ADBC_STATUS_INVALID_ARGUMENT, "42703"},
    {"Binder Error", "", ADBC_STATUS_INVALID_ARGUMENT, "42000"},
    {"Invalid Input Error", "", ADBC_STATUS_INVALID_ARGUMENT, "22000"},
    {"Conversion Error", "", ADBC_STATUS_INVALID_DATA, "22018"},
    {"Out of Range Error", "", ADBC_STATUS_INVALID_DATA, "22003"},
    {"Not implemented Error", "", ADBC_STATUS_NOT_IMPLEMENTED, "0A000"},
    {"IO Error", "", ADBC_STATUS_IO, "58030"},
    {"INTERNAL Error", "", ADBC_STATUS_INTERNAL, "XX000"},
    {"Out of Memory Error", "", ADBC_STATUS_INTERNAL, "53200"},
    {"INTERRUPT Error", "", ADBC_STATUS_CANCELLED, "57014"},
    {"not executed", "", ADBC_STATUS_NOT_IMPLEMENTED, "0A000"},
    {"only queries are answered", "", ADBC_STATUS_NOT_IMPLEMENTED, "0A000"},
    {"no such table", "", ADBC_STATUS_NOT_FOUND, "42P01"},
    {"no such file", "", ADBC_STATUS_NOT_FOUND, "58P01"},
    {"no such folder", "", ADBC_STATUS_NOT_FOUND, "58P01"},
    {"two tables have the name", "", ADBC_STATUS_ALREADY_EXISTS, "42P07"},
    {"unknown instruction set", "", ADBC_STATUS_INVALID_ARGUMENT, "HY024"},
    {"cannot ", "", ADBC_STATUS_IO, "58030"},
    {"the Arrow ", "", ADBC_STATUS_INVALID_DATA, "22000"},
    {"column '", "", ADBC_STATUS_INVALID_DATA, "22000"},
    {"two columns are called", "", ADBC_STATUS_INVALID_DATA, "22000"},
};

struct details {
  std::string query;
};

bool has_details(const AdbcError &of) {
  return of.vendor_code == ADBC_ERROR_VENDOR_CODE_PRIVATE_DATA && of.private_data != nullptr;
}
const details &details_of(const AdbcError &of) { return *static_cast<const details *>(of.private_data); }

void release_error(AdbcError *error) {
  delete[] error->message;
  if (has_details(*error)) {
    delete static_cast<details *>(error->private_data);
    error->private_data = nullptr;
  }
  error->message = nullptr;
  error->release = nullptr;
}

} // namespace

failure invalid_argument(const std::string &message) { return {ADBC_STATUS_INVALID_ARGUMENT, "HY009", message}; }
failure invalid_state(const std::string &message) { return {ADBC_STATUS_INVALID_STATE, "HY010", message}; }
failure not_implemented(const std::string &message) { return {ADBC_STATUS_NOT_IMPLEMENTED, "0A000", message}; }
failure not_found(const std::string &message) { return {ADBC_STATUS_NOT_FOUND, "42P01", message}; }

failure failure_of(const std::string &message) {
  for (const cause &known : causes)
    if (message.starts_with(known.begins) && message.find(known.has) != message.npos)
      return {known.status, known.sqlstate, message};
  return {ADBC_STATUS_UNKNOWN, general_error, message};
}

failure failure_of(const std::exception_ptr &thrown) {
  try {
    std::rethrow_exception(thrown);
  } catch (const failure &of) {
    return of;
  } catch (const exec::interrupted &) {
    return {ADBC_STATUS_CANCELLED, "57014", "the query was cancelled"};
  } catch (const std::bad_alloc &) {
    return {ADBC_STATUS_INTERNAL, "53200", "there is not enough memory"};
  } catch (const error &e) {
    return failure_of(std::string(e.what()));
  } catch (const vorn_host::internal_error &e) {
    return {ADBC_STATUS_INTERNAL, "XX000", e.what()};
  } catch (const std::exception &e) {
    return {ADBC_STATUS_INTERNAL, "XX000", e.what()};
  } catch (...) {
    return {ADBC_STATUS_INTERNAL, "XX000", "an unknown error"};
  }
}

AdbcStatusCode report(AdbcError *to, const failure &of, const std::string &query) noexcept {
  if (to == nullptr)
    return of.status;
  if (to->release != nullptr)
    to->release(to);
  const bool has_room = to->vendor_code == ADBC_ERROR_VENDOR_CODE_PRIVATE_DATA;
  if (!has_room)
    to->vendor_code = 0; // the driver has no error numbers; the SQLSTATE tells errors apart
  else
    to->private_data = nullptr;
  const std::string_view message = of.what();
  to->message = new (std::nothrow) char[message.size() + 1];
  if (to->message != nullptr)
    std::memcpy(to->message, message.data(), message.size() + 1);
  std::memcpy(to->sqlstate, of.sqlstate.c_str(), sizeof to->sqlstate);
  to->release = release_error;
  if (has_room && !query.empty()) {
    try {
      to->private_data = new details{query};
    } catch (const std::bad_alloc &) {
      to->private_data = nullptr;
    }
  }
  return of.status;
}

AdbcStatusCode report_no_memory(AdbcError *to) noexcept {
  static char message[] = "there is not enough memory";
  if (to == nullptr)
    return ADBC_STATUS_INTERNAL;
  if (to->release != nullptr)
    to->release(to);
  if (to->vendor_code == ADBC_ERROR_VENDOR_CODE_PRIVATE_DATA)
    to->private_data = nullptr;
  else
    to->vendor_code = 0;
  to->message = message;
  std::memcpy(to->sqlstate, "53200", sizeof to->sqlstate);
  to->release = [](AdbcError *error) {
    error->message = nullptr;
    error->release = nullptr;
  };
  return ADBC_STATUS_INTERNAL;
}

int detail_count(const AdbcError *of) noexcept { return of != nullptr && has_details(*of) ? 1 : 0; }

AdbcErrorDetail detail_of(const AdbcError *of, int index) noexcept {
  if (index < 0 || index >= detail_count(of))
    return {};
  const std::string &query = details_of(*of).query;
  return {"vorn.query", reinterpret_cast<const uint8_t *>(query.data()), query.size()};
}

} // namespace store::adbc
