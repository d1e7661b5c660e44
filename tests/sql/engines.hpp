// The store and DuckDB on the same tables.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "host/stand_in.hpp"
#include "sql/catalogue.hpp"
#include "sql/duckdb_engine.hpp"
#include "sql/duckdb_functions.hpp"
#include "sql/planner.hpp"
#include "store/operator/build.hpp"
#include "tests/sql/answers.hpp"
#include "tests/support/implementation.hpp"

namespace vorn_test {

class engines {
public:
  // Each file of the folder is a table.
  explicit engines(const std::string &folder, store::choice_map encodings = {})
      : tables(context(), std::move(encodings)) {
    tables.add_folder(folder);
  }

  answer expected(const std::string &sql) {
    duckdb_.prepare(sql);
    return answer_of(duckdb_.run(sql));
  }
  store::logical::query plan(const std::string &sql) { return planner_.plan(sql); }
  // By the kernels that are in force.
  answer found(const store::logical::query &query, uint32_t threads) {
    store::worker_pool pool(threads);
    std::vector<store::exec::arena> memory(threads);
    const std::atomic<bool> is_interrupted = false;
    const auto rows = store::exec::build(
        query.root, [&](const store::logical::plan &scan) { return tables.find(scan.table); }, functions_);
    return answer_of(*rows, query.names, {context_, pool, is_interrupted, memory});
  }

  vorn_host::environment env;

private:
  vorn_ctx &context() {
    context_ = env.context();
    context_.vorn_ctx_decompress = vorn_qpak_decode;
    return context_;
  }
  vorn_ctx context_{};

public:
  store::sql::catalogue tables;

private:
  store::sql::planner planner_{tables};
  store::sql::duckdb_functions functions_{context_};
  store::sql::duckdb_engine duckdb_{tables, store::sql::duckdb_engine::storage::files, 1};
};

// The numbers of threads of queries.
inline constexpr uint32_t thread_counts[] = {1, 3};

} // namespace vorn_test
