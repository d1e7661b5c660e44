// Joins a table of generated keys, 10,000,000 without an argument, with 1, 10 and 100 million generated rows by the
// operators of a plan: what a row costs, and how much memory the join takes.  Ends with 1 when pairs are missing or
// wrong.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <limits>
#include <numeric>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "store/error.hpp"
#include "store/library/kernels.hpp"
#include "store/operator/operators.hpp"

namespace {

using namespace store;

constexpr uint64_t morsel_rows = 65536;

// Numbers become keys by an odd factor, which maps no two to one key.
constexpr int64_t key_of(uint64_t number) { return static_cast<int64_t>(number * 0x9e3779b97f4a7c15); }

// Rows of a key and a number.  The built side has the numbers 0, 1, ... of its rows.  The probed side has the numbers
// below twice as many in an order that jumps about, again and again, so that half of its rows have a partner.
class generated_rows final : public exec::relation {
public:
  generated_rows(uint64_t rows, uint64_t jump, uint64_t numbers)
      : relation("generate"), rows_(rows), jump_(jump), numbers_(numbers) {
    columns_.resize(2);
    for (exec::layout &column : columns_) {
      column.type = logical::sql_type("BIGINT");
      column.has_nulls = false;
    }
  }

  // A join builds the smaller side.  Here this is the side of the keys, however few rows are looked up.
  double estimated_rows() const override { return static_cast<double>(jump_ == 1 ? rows_ : numbers_ + rows_); }
  size_t morsels() const override { return (rows_ + morsel_rows - 1) / morsel_rows; }
  uint64_t number_of(uint64_t row) const {
    return static_cast<uint64_t>(static_cast<unsigned __int128>(row) * jump_ % numbers_);
  }
  uint64_t rows() const { return rows_; }

private:
  class rows_stream final : public exec::stream {
  public:
    rows_stream(const generated_rows &of, exec::operator_metrics *counted, exec::arena &memory)
        : stream(counted), of_(of), memory_(memory) {}

  private:
    void produce(size_t morsel, const exec::chunk_taker &take) override {
      const uint64_t end = std::min(of_.rows_, (morsel + 1) * morsel_rows);
      for (uint64_t first = morsel * morsel_rows; first < end; first += exec::chunk_rows) {
        const exec::arena::mark begun = memory_.position();
        const auto rows = static_cast<uint32_t>(std::min<uint64_t>(exec::chunk_rows, end - first));
        const std::span<int64_t> keys = memory_.take<int64_t>(rows), numbers = memory_.take<int64_t>(rows);
        for (uint32_t row = 0; row < rows; ++row) {
          const uint64_t number = of_.number_of(first + row);
          keys[row] = key_of(number);
          numbers[row] = static_cast<int64_t>(number);
        }
        exec::chunk out(memory_, rows);
        out.add_column(exec::vector(keys));
        out.add_column(exec::vector(numbers));
        take(out);
        memory_.rewind(begun);
      }
    }

    const generated_rows &of_;
    exec::arena &memory_;
  };

  void prepare(const exec::query_run &) override {}
  std::unique_ptr<exec::stream> made_stream(const exec::query_run &run, exec::arena &memory) override {
    return std::make_unique<rows_stream>(*this, counted(run), memory);
  }

  uint64_t rows_;
  uint64_t jump_;
  uint64_t numbers_;
};

// Nothing here is evaluated by anybody else.
class no_functions final : public exec::scalar_functions {
  std::unique_ptr<exec::scalar_function> bind(const logical::expression &what,
                                              std::span<const logical::sql_type>) override {
    throw error("nobody evaluates " + what.sql);
  }
};

logical::plan join_plan() {
  const logical::sql_type number("BIGINT");
  logical::expression key;
  key.what = logical::operation::column;
  key.type = number;
  key.sql = "c0";
  logical::plan out;
  out.what = logical::plan_kind::join;
  out.types.assign(4, number);
  out.children.resize(2);
  for (logical::plan &child : out.children)
    child.types.assign(2, number);
  out.conditions.push_back({key, logical::operation::equal, key});
  return out;
}

struct pairs {
  uint64_t count = 0;
  uint64_t sum = 0;

  void add(uint64_t probed, uint64_t built) {
    ++count;
    sum += (probed + 1) * (built + 1);
  }
  friend bool operator==(const pairs &, const pairs &) = default;
};

// The most memory that the process has had so far.
uint64_t peak_bytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (word == "VmHWM:") {
      uint64_t kilobytes = 0;
      status >> kilobytes;
      return kilobytes * 1024;
    }
  return 0;
}

// A number with its digits in groups of three.
std::string grouped(uint64_t number) {
  std::string digits = std::to_string(number);
  for (size_t end = digits.size(); end > 3; end -= 3)
    digits.insert(end - 3, 1, ',');
  return digits;
}

std::string megabytes(uint64_t bytes) { return fmt::format("{:.1f}", static_cast<double>(bytes) / 1e6); }

struct outcome {
  bool is_right;
  uint64_t pairs;
  double built_nanoseconds; // of the join alone
  double probed_nanoseconds;
  uint64_t table_bytes;
  std::string description;
};

outcome run_join(const vorn_ctx &library, uint64_t keys, uint64_t rows) {
  const uint64_t numbers = 2 * keys;
  uint64_t jump = 2'654'435'761 % numbers;
  while (std::gcd(jump, numbers) != 1)
    ++jump;
  auto probed = std::make_unique<generated_rows>(rows, jump, numbers);
  pairs expected;
  for (uint64_t row = 0; row < rows; ++row)
    if (const uint64_t number = probed->number_of(row); number < keys)
      expected.add(number, number);

  no_functions functions;
  const std::vector<bool> needed = {false, true, false, true};
  const exec::relation_ptr join = exec::make_join(
      join_plan(), std::move(probed), std::make_unique<generated_rows>(keys, 1, numbers), needed, functions);
  worker_pool threads(1);
  const std::atomic<bool> is_interrupted = false;
  std::vector<exec::arena> memory(1);
  const exec::query_run run{library, threads, is_interrupted, memory, true};
  join->open(run);
  const auto built = static_cast<double>(join->metrics().nanoseconds);
  pairs found;
  exec::run_all(*join, run, [&](size_t, size_t, exec::chunk &some) {
    const std::span<const int64_t> left = some.column(1).int64s(), right = some.column(3).int64s();
    for (size_t row = 0; row < left.size(); ++row)
      found.add(static_cast<uint64_t>(left[row]), static_cast<uint64_t>(right[row]));
  });
  const auto whole = static_cast<double>(join->metrics().nanoseconds);
  return {found == expected, found.count, built, whole - built, join->metrics().bytes, join->description()};
}

int run(int argc, char **argv) {
  uint64_t keys = 10'000'000;
  std::vector<uint64_t> counts = {1'000'000, 10'000'000, 100'000'000};
  std::optional<std::string> isa;
  std::string record_file;
  CLI::App app("Joins a table of generated keys with generated rows.", "vorn_join_scale");
  app.add_option("--keys", keys, "The keys in the table")->check(CLI::PositiveNumber)->capture_default_str();
  app.add_option("--rows", counts, "How many rows to look up; can be given several times")->capture_default_str();
  app.add_option("--isa", isa, "The kernels to use: generic, sse42, avx, avx2 or avx512; otherwise the best");
  app.add_option("--record", record_file, "Write the times and memory as JSON into this file");
  CLI11_PARSE(app, argc, argv);

  const kernels library(isa, "");
  fmt::print("kernels in force: {}\n{} keys\n", library.name(), grouped(keys));
  bool agree = true;
  constexpr std::string_view line = "{:>13}  {:>13}  {:5}  {:>10}  {:>8}  {:>8}  {:>9}  {}\n";
  fmt::print(line, "rows", "pairs", "", "ns a key", "ns a row", "table MB", "peak MB", "");
  std::string record;
  for (const uint64_t rows : counts) {
    const outcome out = run_join(library.chosen(), keys, rows);
    agree = agree && out.is_right;
    const double a_row = out.probed_nanoseconds / static_cast<double>(rows);
    record += fmt::format("{}{{\"rows\": {}, \"ns_a_row\": {:.3f}, \"peak_bytes\": {}}}", record.empty() ? "" : ",\n",
                          rows, a_row, peak_bytes());
    fmt::print(line, grouped(rows), grouped(out.pairs), out.is_right ? "right" : "WRONG",
               fmt::format("{:.1f}", out.built_nanoseconds / static_cast<double>(keys)), fmt::format("{:.1f}", a_row),
               megabytes(out.table_bytes), megabytes(peak_bytes()), out.description);
  }
  if (!record_file.empty() &&
      !(std::ofstream(record_file) << fmt::format("{{\"kernels\": \"{}\", \"keys\": {}, \"joins\": [{}]}}\n",
                                                  library.name(), keys, record))
           .flush())
    throw error(fmt::format("cannot write {}", record_file));
  return agree ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception &e) {
    std::fprintf(stderr, "vorn_join_scale: %s\n", e.what());
    return 2;
  }
}
