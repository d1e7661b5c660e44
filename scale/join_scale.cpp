// Joins a table of generated keys, 10,000,000 without an argument, with 1, 10 and 100 million rows that come in
// batches: what a row costs and how much memory the join takes.  Ends with 1 when pairs are missing or wrong.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "store/error.hpp"
#include "store/join/bloom_map.hpp"
#include "store/join/hash_table.hpp"
#include "store/join/hashing.hpp"
#include "store/join/prober.hpp"
#include "store/library/kernels.hpp"

namespace {

using namespace store;

constexpr uint64_t batch = 65536; // rows

// Numbers become keys by an odd factor, which maps no two to one key.
constexpr uint64_t key_of(uint64_t number) { return number * 0x9e3779b97f4a7c15; }

// The numbers that are looked up: all from 0 to twice the keys less 1, in an order that jumps about, again and again.
// Those below the number of keys are in the table.
class probed_numbers {
public:
  explicit probed_numbers(uint64_t keys) : count_(2 * keys), jump_(2'654'435'761 % count_) {
    while (std::gcd(jump_, count_) != 1)
      ++jump_;
  }
  uint64_t next() {
    const uint64_t out = at_;
    at_ = (at_ + jump_) % count_;
    return out;
  }

private:
  uint64_t count_;
  uint64_t jump_;
  uint64_t at_ = 0;
};

struct pairs {
  uint64_t count = 0;
  uint64_t sum = 0;

  void add(uint64_t row, uint64_t built) {
    ++count;
    sum += (row + 1) * (built + 1);
  }
  friend bool operator==(const pairs &, const pairs &) = default;
};

class stopwatch {
public:
  void start() { began_ = clock::now(); }
  void stop() { elapsed_ += clock::now() - began_; }
  double nanoseconds() const { return std::chrono::duration<double, std::nano>(elapsed_).count(); }

private:
  using clock = std::chrono::steady_clock;
  clock::time_point began_;
  clock::duration elapsed_{};
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

// The keys with their table and map.
struct built_side {
  std::vector<uint64_t> keys;
  hash_table table;
  std::optional<bloom_map> map;
};

void hash(const vorn_ctx &ctx, std::span<const uint64_t> keys, std::vector<uint64_t> &out) {
  row_vector source = row_vector::fixed(64, keys.data(), keys.size());
  out.resize(keys.size());
  hash_rows(ctx, source, out.data());
}

double build(const vorn_ctx &ctx, built_side &side) {
  stopwatch time;
  std::vector<uint64_t> hashes;
  for (uint64_t number = 0; number < side.keys.size(); ++number)
    side.keys[number] = key_of(number);
  time.start();
  for (uint64_t first = 0; first < side.keys.size(); first += batch) {
    hash(ctx, std::span(side.keys).subspan(first, std::min(batch, side.keys.size() - first)), hashes);
    side.table.insert(hashes);
    if (side.map)
      side.map->add(hashes);
  }
  side.table.finish();
  time.stop();
  return time.nanoseconds();
}

struct outcome {
  pairs found;
  pairs expected;
  double nanoseconds;
};

outcome probe(const vorn_ctx &ctx, built_side &side, uint64_t rows, const join_settings &settings) {
  outcome out{};
  stopwatch time;
  probed_numbers numbers(side.keys.size());
  prober looking(ctx, side.table, side.map ? &*side.map : nullptr, settings);
  std::vector<uint64_t> keys;
  std::vector<uint64_t> hashes;
  for (uint64_t first = 0; first < rows; first += batch) {
    keys.resize(std::min(batch, rows - first));
    for (uint64_t row = 0; row < keys.size(); ++row) {
      const uint64_t number = numbers.next();
      keys[row] = key_of(number);
      if (number < side.keys.size())
        out.expected.add(first + row, number);
    }
    time.start();
    hash(ctx, keys, hashes);
    looking.open(hashes);
    for (std::span<const candidate> some; !(some = looking.next()).empty();)
      for (const candidate &c : some)
        if (side.keys[c.built] == keys[c.row])
          out.found.add(first + c.row, c.built);
    time.stop();
  }
  out.nanoseconds = time.nanoseconds();
  return out;
}

int run(int argc, char **argv) {
  uint64_t keys = 10'000'000;
  std::vector<uint64_t> counts = {1'000'000, 10'000'000, 100'000'000};
  join_settings settings;
  std::optional<std::string> isa;
  std::string record_file;
  CLI::App app("Joins a table of generated keys with rows that come in batches.", "vorn_join_scale");
  app.add_option("--keys", keys, "The keys in the table")->check(CLI::PositiveNumber)->capture_default_str();
  app.add_option("--rows", counts, "How many rows to look up; can be given several times")->capture_default_str();
  app.add_option("--partition-bits", settings.partition_bits, "The table has 2^BITS parts; otherwise as many as fit")
      ->check(CLI::Range(0, 16));
  app.add_option("--bloom", settings.bloom, "Whether rows are first tested against a bloom map; otherwise as it pays");
  app.add_option("--isa", isa, "The kernels to use: generic, sse42, avx, avx2 or avx512; otherwise the best");
  app.add_option("--record", record_file, "Write the times and memory as JSON into this file");
  CLI11_PARSE(app, argc, argv);

  const kernels library(isa, "");
  const vorn_ctx &ctx = library.chosen();
  built_side side{std::vector<uint64_t>(keys), hash_table(ctx, shape_of(keys, settings), settings), {}};
  if (settings.bloom.value_or(true))
    side.map.emplace(ctx, keys);
  const double built = build(ctx, side);
  const table_shape &shape = side.table.shape();
  const uint64_t used = side.keys.size() * sizeof(uint64_t) + side.table.bytes() + (side.map ? side.map->bytes() : 0);
  fmt::print("kernels in force: {}\n{} keys in {:.0f} ms, {:.1f} ns each: {} buckets of {} in {} parts, and {} for "
             "overflow\nMB: table {}, bloom map {}, keys {}\n",
             library.name(), grouped(keys), built / 1e6, built / static_cast<double>(keys), grouped(shape.buckets()),
             layout_name(shape.layout), shape.partitions(), grouped(side.table.overflow_buckets()),
             megabytes(side.table.bytes()), megabytes(side.map ? side.map->bytes() : 0),
             megabytes(side.keys.size() * sizeof(uint64_t)));
  bool agree = true;
  constexpr std::string_view line = "{:>13}  {:>13}  {:5}  {:>8}  {:>9}  {:>26}\n";
  fmt::print(line, "rows", "pairs", "", "ns a row", "peak MB", "beside table, map and keys");
  std::string record;
  for (const uint64_t rows : counts) {
    const outcome out = probe(ctx, side, rows, settings);
    agree = agree && out.found == out.expected;
    const double a_row = out.nanoseconds / static_cast<double>(rows);
    record += fmt::format("{}{{\"rows\": {}, \"ns_a_row\": {:.3f}, \"peak_bytes\": {}}}", record.empty() ? "" : ",\n",
                          rows, a_row, peak_bytes());
    fmt::print(line, grouped(rows), grouped(out.found.count), out.found == out.expected ? "right" : "WRONG",
               fmt::format("{:.1f}", a_row), megabytes(peak_bytes()),
               megabytes(peak_bytes() - std::min(peak_bytes(), used)));
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
