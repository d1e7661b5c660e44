// Queries that no user has written.
#pragma once

#include <string>
#include <string_view>

#include "store/error.hpp"

namespace store::duckdb {

// Runs such a query.  Its errors say nothing about a place in its text, which the user does not know.
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
