// A session of vornq: the tables, the planner, the kernels and the threads.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sql/catalogue.hpp"
#include "sql/duckdb_engine.hpp"
#include "sql/session.hpp"
#include "store/library/kernels.hpp"
#include "store/operator/answer.hpp"
#include "vornq/options.hpp"
#include "vornq/progress.hpp"

namespace store {

class session {
public:
  // Adds the files and folders of the options to the tables.
  explicit session(const options &chosen);
  session(const session &) = delete;

  kernels &library() { return library_; }
  // The kernels in force.
  const vorn_ctx &kernels_in_force() const {
    return library_.is_specialised() ? library_.chosen() : library_.generic();
  }
  sql::catalogue &tables() { return tables_; }
  size_t threads() const { return threads_.threads(); }
  progress_bar &progress() { return progress_; }

  logical::query plan(const std::string &text) { return queries_.plan(text); }

  // The operators of a plan.  The call loads the columns that they read.
  exec::relation_ptr operators(const logical::query &of) { return queries_.operators(of.root); }

  // Runs operators with the generic kernels or with the kernels in force.
  exec::kept_rows run(exec::relation &rows, const vorn_ctx &library, bool explains = false);

  // DuckDB with the same tables; made when it is first needed.
  sql::duckdb_engine &duckdb(sql::duckdb_engine::storage form, size_t threads);
  // All rows of DuckDB's answer.
  exec::answer answer_by_duckdb(const std::string &text);

  // "flights.csv.gz" is the table "flights".
  static std::string table_name(const std::filesystem::path &file);

private:
  kernels library_;
  worker_pool threads_;
  std::vector<exec::arena> memory_;
  std::atomic<bool> is_interrupted_ = false; // the program ends otherwise
  progress_bar progress_;
  sql::catalogue tables_;
  sql::session queries_;
  struct duckdb_form {
    sql::duckdb_engine::storage form;
    size_t threads;
    std::unique_ptr<sql::duckdb_engine> engine;
  };
  std::vector<duckdb_form> duckdb_;
};

} // namespace store
