// Queries that this project writes itself.
#pragma once

#include <string>
#include <string_view>

#include "store/error.hpp"

namespace store::duckdb {

// Runs such a query.  Its error messages have no position in the text, because the user does not know the text.
template <class Run>
auto own_query(const Run &run) {
  try {
    return run();
  } catch (const error &e) {
    const std::string_view message = e.what();
    throw error(std::string(message.substr(0, message.find("\n\nLINE "))));
  }
}

} // namespace store::duckdb
