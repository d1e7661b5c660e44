#include "vornq/report.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include <fmt/format.h>

#include "store/error.hpp"
#include "vornq/text_table.hpp"

namespace store {

namespace {

constexpr std::string_view not_compared = "not compared with DuckDB, which has no copy of a saved table";

std::string ratio(double dividend, double divisor) {
  return divisor == 0 ? "" : fmt::format("{:.1f}", dividend / divisor);
}
std::string ratio(uint64_t dividend, uint64_t divisor) {
  return ratio(static_cast<double>(dividend), static_cast<double>(divisor));
}

struct sizes {
  uint64_t encoded = 0;
  uint64_t plain = 0;
};

sizes sizes_of(const column_map &loaded) {
  sizes out;
  for (const auto &[name, c] : loaded) {
    out.encoded += c.encoded_bytes();
    out.plain += c.plain_bytes;
  }
  return out;
}

} // namespace

std::string grouped(uint64_t number) {
  std::string digits = std::to_string(number);
  for (size_t end = digits.size(); end > 3; end -= 3)
    digits.insert(end - 3, 1, ',');
  return digits;
}

std::string threads_named(size_t threads) {
  return threads == 1 ? "one thread each" : fmt::format("{} threads each", threads);
}

namespace {

void print_columns(const loaded_table &table) {
  const auto &[file, loaded, reasons] = table;
  std::vector<std::vector<std::string>> lines;
  for (const column_info &info : file->columns()) {
    auto &line = lines.emplace_back(std::vector<std::string>{shortened(info.name), shortened(info.sql_type)});
    const auto found = loaded.find(info.name);
    if (found == loaded.end()) {
      const auto reason = reasons.find(info.name);
      line.insert(line.end(), {"not stored", "", "", "", "", "", "",
                               reason != reasons.end() ? reason->second : "the store does not encode this type"});
      continue;
    }
    const column &c = found->second;
    const auto *entries = std::get_if<dictionary>(&c.values);
    line.insert(line.end(),
                {fmt::format("{}{}", encoding_name(c.form), c.compressed ? "+qpak" : ""),
                 entries ? grouped(entries->size()) : "-", c.has_nulls() ? "yes" : "no", std::to_string(c.width),
                 grouped(c.encoded_bytes()), grouped(c.plain_bytes), ratio(c.plain_bytes, c.encoded_bytes()), ""});
  }
  const sizes all = sizes_of(loaded);
  lines.push_back(
      {"total", "", "", "", "", "", grouped(all.encoded), grouped(all.plain), ratio(all.plain, all.encoded), ""});
  fmt::print("{} rows\n{}", grouped(file->rows()),
             text_table({{"column", false},
                         {"type", false},
                         {"encoding", false},
                         {"distinct", true},
                         {"NULLs", true},
                         {"width", true},
                         {"encoded bytes", true},
                         {"plain bytes", true},
                         {"ratio", true},
                         {"", false}},
                        lines));
}

// With a colour on a terminal, unless NO_COLOR is set to something.
void print_verdict(std::string_view what, bool agree, std::string_view more) {
  const char *no_color = std::getenv("NO_COLOR");
  const bool has_colour = isatty(STDOUT_FILENO) == 1 && (no_color == nullptr || *no_color == '\0');
  const std::string_view verdict = agree ? "agree" : "DISAGREE";
  if (has_colour)
    fmt::print("the {} \033[{}m{}\033[0m{}\n", what, agree ? 32 : 31, verdict, more);
  else
    fmt::print("the {} {}{}\n", what, verdict, more);
}

// How a join was done.
void print_join(const join_statistics &did) {
  fmt::print("{} rows with {} keys in {} buckets of {} in {} part{}, and {} for overflow: {} bytes\n",
             grouped(did.built_rows), grouped(did.built_keys), grouped(did.shape.buckets()),
             layout_name(did.shape.layout), did.shape.partitions(), did.shape.partitions() == 1 ? "" : "s",
             grouped(did.overflow_buckets), grouped(did.table_bytes));
  if (did.map_bytes == 0)
    fmt::print("no bloom map: there are not more rows to look up\n");
  else
    fmt::print("bloom map of {} bytes: {} of {} rows pass{}\n", grouped(did.map_bytes), grouped(did.passed),
               grouped(did.tested), did.map_given_up ? ", and the others are not tested" : "");
  fmt::print("{} rows looked up, {} candidates, {} confirmed\n", grouped(did.probed_rows), grouped(did.candidates),
             grouped(did.confirmed));
}

} // namespace

void print_columns(const tables &from) {
  for (const loaded_table &table : from.list()) {
    if (from.are_joined())
      fmt::print("{}{}: ", &table == &from.list().front() ? "" : "\n", visible(shortened(table.file->name())));
    print_columns(table);
  }
}

void print_saved(const tables &from, const std::filesystem::path &path, uint64_t bytes) {
  const auto &[file, loaded, reasons] = from.list().front();
  fmt::print("{} rows in {} of {} columns saved in {}, {} bytes\n", grouped(file->rows()), loaded.size(),
             file->columns().size(), visible(path.string()), grouped(bytes));
}

void print_answer(const std::string &question, uint64_t rows, const answer &a) {
  const auto rate = [&](const measurement &m) -> std::string {
    if (a.has_rate())
      return fmt::format("{:.1f}", static_cast<double>(rows) / m.milliseconds / 1e3);
    return a.is_settled() && m.read.empty() ? "settled by statistics" : "";
  };
  std::vector<std::vector<std::string>> lines;
  for (const measurement &m : a.measurements)
    lines.push_back({m.name(), grouped(rows), grouped(m.matches), fmt::format("{:.3f}", m.milliseconds),
                     fmt::format("{:.3f}", m.least), rate(m)});
  fmt::print(
      "\n{}\n{}", visible(question),
      text_table(
          {{"engine", false}, {"rows", true}, {a.counted, true}, {"ms", true}, {"least ms", true}, {"Mrows/s", true}},
          lines));
  if (a.settled != 0 && !a.is_settled())
    fmt::print("{} of {} row groups, counted for each step, needed no kernel; a rate would count unread rows\n",
               grouped(a.settled), grouped(a.row_groups));
  if (a.join)
    print_join(*a.join);
  if (a.agree && !a.is_compared)
    fmt::print("{}\n", not_compared);
  else
    print_verdict("counts", a.agree, "");
  if (a.explained)
    print_explanation(*a.explained);
}

void print_explanation(const explanation &of) {
  int64_t whole = 0;
  for (const plan_step &s : of.steps())
    whole += s.nanoseconds;
  std::vector<std::vector<std::string>> lines;
  std::string calls;
  for (const plan_step &s : of.steps()) {
    const auto time = static_cast<double>(s.nanoseconds);
    const bool reads = s.bytes != 0;
    lines.push_back({std::to_string(lines.size() + 1), shortened(s.name), reads ? grouped(s.batches) : "",
                     s.skipped != 0 ? grouped(s.skipped) : "", grouped(s.rows_in), grouped(s.rows_out),
                     reads ? grouped(s.bytes) : "", fmt::format("{:.3f}", time / 1e6),
                     fmt::format("{:.0f} %", whole == 0 ? 0 : 100 * time / static_cast<double>(whole)),
                     reads ? fmt::format("{:.2f}", static_cast<double>(s.bytes) / time) : ""});
    for (const auto &[entry, kernel] : s.calls)
      calls += fmt::format("{:>2} calls {}{}\n", lines.size(), entry, kernel == entry ? "" : " with " + kernel);
  }
  fmt::print("{}{}",
             text_table({{"", true},
                         {"step", false},
                         {"batches", true},
                         {"skipped", true},
                         {"rows in", true},
                         {"rows out", true},
                         {"bytes", true},
                         {"ms", true},
                         {"share", true},
                         {"GB/s", true}},
                        lines),
             calls);
}

namespace {

void print_sizes(const loaded_table &table) {
  const auto &[file, loaded, reasons] = table;
  const sizes all = sizes_of(loaded);
  fmt::print("{} rows in {} column{}, {} bytes as stored\n", grouped(file->rows()), loaded.size(),
             loaded.size() == 1 ? "" : "s", grouped(all.encoded));
  std::vector<std::string> names;
  for (const auto &[name, c] : loaded)
    names.push_back(name);
  if (const auto in_file = file->compressed_bytes(names))
    fmt::print("{} bytes in the file, {} times as many\n", grouped(*in_file), ratio(*in_file, all.encoded));
  fmt::print("{} bytes plain, {} times as many\n", grouped(all.plain), ratio(all.plain, all.encoded));
}

} // namespace

void print_shown(const verification &rows, std::string_view unit, uint64_t shown, bool ends_at_limit, bool is_compared,
                 bool is_order_open) {
  if (ends_at_limit)
    fmt::print("{} {}, which is the limit\n", grouped(rows.count), unit);
  else
    fmt::print("{} of {} {}\n", grouped(std::min(rows.count, shown)), grouped(rows.count), unit);
  if (rows.rounded != 0)
    fmt::print(
        "{} sum{} of reals, added in another order, differ{} from DuckDB's by no more than 2(n + 4) * 2^-53 of the sum "
        "of the n magnitudes\n",
        grouped(rows.rounded), rows.rounded == 1 ? "" : "s", rows.rounded == 1 ? "s" : "");
  if (!is_compared)
    fmt::print("{}\n", not_compared);
  else
    print_verdict(unit, rows.agree, is_order_open ? "; their order, which hangs on such sums, is not compared" : "");
}

void print_summary(const tables &from, std::span<const answered> answers, size_t threads) {
  fmt::print("\nsummary\n");
  for (const loaded_table &table : from.list()) {
    if (from.are_joined())
      fmt::print("{}: ", visible(shortened(table.file->name())));
    print_sizes(table);
  }
  if (answers.empty())
    return;
  const auto equal = std::count_if(answers.begin(), answers.end(), [](const answered &a) { return a.given.agree; });
  const bool are_compared = answers.front().given.is_compared;
  if (are_compared)
    fmt::print("{} of {} answers are equal to DuckDB's", equal, answers.size());
  else
    fmt::print("{}", not_compared);
  fmt::print("; times of {}\n\n", threads_named(threads));
  // The generic kernels come first, those in force last or before DuckDB.
  const auto &engines = answers.front().given.measurements;
  const size_t in_force = engines.size() - (are_compared ? 2 : 1);
  std::vector<text_column> headings = {{"question", false}, {"matches", true}};
  for (const measurement &m : engines)
    headings.push_back({m.engine + ", ms", true});
  for (size_t i = 0; i < engines.size(); ++i)
    if (i != in_force)
      headings.push_back({fmt::format("{} / {}", engines[i].engine, engines[in_force].engine), true});
  headings.push_back({are_compared ? "DuckDB reads" : "", false});
  headings.push_back({"", false});
  std::vector<std::vector<std::string>> lines;
  for (const answered &a : answers) {
    const auto &measured = a.given.measurements;
    auto &line = lines.emplace_back(std::vector<std::string>{shortened(a.question), grouped(measured.back().matches)});
    for (const measurement &m : measured)
      line.push_back(fmt::format("{:.3f}", m.milliseconds));
    for (size_t i = 0; i < measured.size(); ++i)
      if (i != in_force)
        line.push_back(a.given.is_settled() ? "" : ratio(measured[i].milliseconds, measured[in_force].milliseconds));
    line.emplace_back(measured.back().read);
    line.emplace_back(a.given.is_settled() ? "settled by statistics" : "");
  }
  fmt::print("{}", text_table(headings, lines));
}

} // namespace store
