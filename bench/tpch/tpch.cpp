// Measures queries over a folder of tables: the store with the generic kernels and with the best ones, and DuckDB over
// plain and over compressed tables in memory.
//
//     vorn_tpch --tables data/tpch-1 --repeat 5 --record times.json bench/tpch/*.sql
//
// A time is of the execution of a query whose plan is there, up to the last row of its answer.  Both engines have their
// plan from DuckDB.  The engines take turns, so that a busy second does not meet one of them alone.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "sql/catalogue.hpp"
#include "sql/connection.hpp"
#include "sql/duckdb_functions.hpp"
#include "sql/planner.hpp"
#include "store/chunk/kept_rows.hpp"
#include "store/error.hpp"
#include "store/library/kernels.hpp"
#include "store/operator/build.hpp"

namespace store {

namespace {

namespace fs = std::filesystem;

double milliseconds_of(const std::function<void()> &work) {
  using clock = std::chrono::steady_clock;
  const auto begun = clock::now();
  work();
  return std::chrono::duration<double, std::milli>(clock::now() - begun).count();
}

std::string text_of(const fs::path &file) {
  std::ifstream in(file);
  std::string out{std::istreambuf_iterator<char>(in), {}};
  if (out.empty())
    throw error(fmt::format("cannot read {}", file.string()));
  return out;
}

// One way to answer a query.
struct engine {
  std::string name;
  std::function<uint64_t()> run; // gives the number of rows
  std::vector<double> times = {};
  uint64_t rows = 0;

  double least() const { return *std::ranges::min_element(times); }
  double median() const {
    std::vector<double> sorted = times;
    std::ranges::sort(sorted);
    return sorted[sorted.size() / 2];
  }
};

// The tables in DuckDB's memory, as they are and compressed.
class duckdb_tables {
public:
  explicit duckdb_tables(const fs::path &folder) {
    db_.query("ATTACH ':memory:' AS plain");
    db_.query("ATTACH ':memory:' AS compressed (COMPRESS)");
    for (const auto &file : fs::directory_iterator(folder))
      if (file.path().extension() == ".parquet")
        for (const std::string form : {"plain", "compressed"})
          db_.query(fmt::format("CREATE TABLE {}.{} AS FROM {}", form, duckdb::quoted_name(file.path().stem().string()),
                                duckdb::quoted_text(file.path().string())));
    // A table in memory stays uncompressed until a checkpoint.
    db_.query("CHECKPOINT compressed");
  }

  engine of(const std::string &form, const std::string &sql, size_t threads) {
    db_.query(fmt::format("SET threads = {}", threads));
    db_.query("USE " + form);
    auto asked = std::make_shared<duckdb::statement>(db_.prepare(sql));
    return {"DuckDB " + form, [asked] {
              uint64_t rows = 0;
              duckdb::result answer = asked->run();
              while (const auto chunk = answer.next())
                rows += chunk->rows();
              return rows;
            }};
  }

private:
  duckdb::connection db_;
};

class store_tables {
public:
  store_tables(const kernels &library, const fs::path &folder)
      : tables_(library.generic()), functions_(library.generic()) {
    tables_.add_folder(folder);
  }

  logical::query plan(const std::string &sql) { return planner_.plan(sql); }

  engine of(const std::string &name, const vorn_ctx &library, const logical::query &query, worker_pool &threads,
            std::vector<exec::arena> &memory) {
    return {name, [&] {
              const std::atomic<bool> is_interrupted = false;
              const exec::query_run run{library, threads, is_interrupted, memory};
              const auto rows = exec::build(
                  query.root, [&](const logical::plan &scan) { return tables_.find(scan.table); }, functions_);
              rows->open(run);
              exec::row_collector collected(rows->columns(), std::vector<bool>(rows->columns().size(), true),
                                            threads.threads());
              exec::run_all(*rows, run, [&](size_t thread, size_t morsel, exec::chunk &some) {
                collected.append(thread, morsel, some);
              });
              return uint64_t{collected.finish().rows()};
            }};
  }

private:
  sql::catalogue tables_;
  sql::planner planner_{tables_};
  sql::duckdb_functions functions_;
};

// Runs all engines once, and then in turns.
void measure(std::vector<engine> &engines, uint32_t repetitions, double most_milliseconds) {
  for (engine &each : engines)
    each.rows = each.run();
  double spent = 0;
  for (uint32_t turn = 0; turn < repetitions && (turn == 0 || spent < most_milliseconds); ++turn)
    for (engine &each : engines)
      spent += each.times.emplace_back(milliseconds_of([&] { each.run(); }));
}

class table_of_times {
public:
  void add(const std::string &query, const std::vector<engine> &engines) {
    const auto &[generic, best, plain, compressed] = std::tie(engines[0], engines[1], engines[2], engines[3]);
    const double duckdb = std::min(plain.least(), compressed.least());
    const double against_generic = duckdb / generic.least();
    const double against_best = duckdb / best.least();
    ++queries_;
    logarithms_[0] += std::log(against_generic);
    logarithms_[1] += std::log(against_best);
    fmt::print("{:>6} {:>10} {:>10.2f} {:>10.2f} {:>10.2f} {:>10.2f} {:>8.2f} {:>8.2f}\n", query, generic.rows,
               generic.least(), best.least(), plain.least(), compressed.least(), against_generic, against_best);
    std::fflush(stdout);
  }
  static void print_head(const std::string &best, size_t threads) {
    fmt::print("{} thread{}, ms, the least time of each; how many times as fast as the faster DuckDB\n"
               "{:>6} {:>10} {:>10} {:>10} {:>10} {:>10} {:>8} {:>8}\n",
               threads, threads == 1 ? "" : "s", "query", "rows", "generic", best, "plain", "compressed", "generic",
               best);
  }
  void print_means() const {
    fmt::print("{:>61} {:>8.2f} {:>8.2f}\n", "geometric mean", std::exp(logarithms_[0] / queries_),
               std::exp(logarithms_[1] / queries_));
  }

private:
  double queries_ = 0;
  double logarithms_[2] = {};
};

std::string record_of(const std::string &query, size_t threads, const std::vector<engine> &engines) {
  std::string out;
  for (const engine &each : engines)
    out +=
        fmt::format("{}{{\"query\": \"{}\", \"threads\": {}, \"engine\": \"{}\", \"rows\": {}, \"least_ms\": {:.4f}, "
                    "\"median_ms\": {:.4f}}}",
                    out.empty() ? "" : ",\n", query, threads, each.name, each.rows, each.least(), each.median());
  return out;
}

int run(int argc, char **argv) {
  std::string folder;
  std::string record_file;
  std::vector<std::string> files;
  std::vector<size_t> counts = {1};
  if (std::thread::hardware_concurrency() > 1)
    counts.push_back(std::thread::hardware_concurrency());
  uint32_t repetitions = 5;
  double most_seconds = 10;
  std::string isa;
  CLI::App app("Measures queries by the store and by DuckDB.", "vorn_tpch");
  app.add_option("--tables", folder, "The folder of the tables")->required()->check(CLI::ExistingDirectory);
  app.add_option("queries", files, "Files with one query each")->required()->check(CLI::ExistingFile);
  app.add_option("--threads", counts, "How many threads; can be given several times")->check(CLI::PositiveNumber);
  app.add_option("--repeat", repetitions, "How often each engine runs a query")->capture_default_str();
  app.add_option("--most", most_seconds, "No more turns after this many seconds of a query")->capture_default_str();
  app.add_option("--isa", isa, "The best kernels: sse42, avx, avx2 or avx512; otherwise what this processor runs");
  app.add_option("--record", record_file, "Write the times as JSON into this file");
  CLI11_PARSE(app, argc, argv);

  const kernels library(isa.empty() ? std::optional<std::string_view>() : isa, "");
  store_tables ours(library, folder);
  duckdb_tables theirs(folder);
  std::string record;
  bool agree = true;
  for (const size_t threads : counts) {
    worker_pool pool(static_cast<uint32_t>(threads));
    std::vector<exec::arena> memory(threads);
    table_of_times::print_head(std::string(library.name()), threads);
    table_of_times shown;
    for (const std::string &file : files) {
      const std::string name = fs::path(file).stem().string();
      const std::string sql = text_of(file);
      try {
        const logical::query query = ours.plan(sql);
        std::vector<engine> engines = {ours.of("generic", library.generic(), query, pool, memory),
                                       ours.of(std::string(library.name()), library.chosen(), query, pool, memory),
                                       theirs.of("plain", sql, threads), theirs.of("compressed", sql, threads)};
        measure(engines, repetitions, most_seconds * 1000);
        for (const engine &each : engines)
          if (each.rows != engines.back().rows) {
            fmt::print("query {}: {} rows by {}, {} by DuckDB\n", name, each.rows, each.name, engines.back().rows);
            agree = false;
          }
        shown.add(name, engines);
        record += (record.empty() ? "" : ",\n") + record_of(name, threads, engines);
      } catch (const error &e) {
        fmt::print("{:>6} {}\n", name, e.what());
        agree = false;
      }
    }
    shown.print_means();
  }
  if (!record_file.empty() &&
      !(std::ofstream(record_file) << fmt::format("{{\"duckdb\": \"{}\", \"tables\": \"{}\", \"times\": [\n{}]}}\n",
                                                  duckdb::version(), fs::path(folder).filename().string(), record))
           .flush())
    throw error(fmt::format("cannot write {}", record_file));
  return agree ? 0 : 1;
}

} // namespace

} // namespace store

int main(int argc, char **argv) {
  try {
    return store::run(argc, argv);
  } catch (const std::exception &e) {
    std::fprintf(stderr, "vorn_tpch: %s\n", e.what());
    return 2;
  }
}
