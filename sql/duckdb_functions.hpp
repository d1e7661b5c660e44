// Expressions that DuckDB evaluates for the store.
#pragma once

#include <memory>
#include <span>

#include "store/evaluate/scalar_functions.hpp"
#include <vorn/vorn.h>

namespace store::sql {

class duckdb_functions final : public exec::scalar_functions {
public:
  // The library tests points for polygons, and outlives this object.
  explicit duckdb_functions(const vorn_ctx &library);
  ~duckdb_functions() override;

  std::unique_ptr<exec::scalar_function> bind(const logical::expression &what,
                                              std::span<const logical::sql_type> inputs) override;

private:
  struct state;
  std::unique_ptr<state> state_;
};

} // namespace store::sql
