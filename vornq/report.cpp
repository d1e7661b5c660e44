#include "vornq/report.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/value/text_table.hpp"

namespace store {

namespace {

std::string ratio(double dividend, double divisor) {
  return divisor == 0 ? "" : fmt::format("{:.1f}", dividend / divisor);
}
std::string ratio(uint64_t dividend, uint64_t divisor) {
  return ratio(static_cast<double>(dividend), static_cast<double>(divisor));
}

std::string_view plural(uint64_t count) { return count == 1 ? "" : "s"; }

struct sizes {
  uint64_t columns = 0;
  uint64_t encoded = 0;
  uint64_t plain = 0;
  std::vector<std::string> names;
};

sizes sizes_of(exec::table &of) {
  sizes out;
  for (size_t c = 0; c < of.columns().size(); ++c)
    if (of.is_loaded(c)) {
      ++out.columns;
      out.encoded += of.at(c).encoded_bytes();
      out.plain += of.at(c).plain_bytes;
      out.names.push_back(of.columns()[c].name);
    }
  return out;
}

// With a colour on a terminal, unless NO_COLOR is set to something.
std::string verdict(bool agree, bool is_one) {
  const char *no_color = std::getenv("NO_COLOR");
  const bool has_colour = isatty(STDOUT_FILENO) == 1 && (no_color == nullptr || *no_color == '\0');
  const std::string word = fmt::format("{}{}", agree ? "agree" : "DISAGREE", !is_one ? "" : agree ? "s" : "S");
  return has_colour ? fmt::format("\033[{}m{}\033[0m", agree ? 32 : 31, word) : word;
}

// The reason why a column cannot be stored; empty if it is or can be loaded.
std::optional<std::string> reason_against(exec::table &of, size_t column) {
  if (!of.columns()[column].type)
    return "the store does not encode this type";
  try {
    of.at(column);
    return std::nullopt;
  } catch (const error &e) {
    return e.what();
  }
}

} // namespace

std::string described_table(session &with, const std::string &name, bool all) {
  exec::table &of = *with.tables().find(name);
  std::vector<std::vector<std::string>> lines;
  for (size_t c = 0; c < of.columns().size(); ++c) {
    if (!all && !of.is_loaded(c))
      continue;
    const column_info &info = of.columns()[c];
    std::vector<std::string> &line = lines.emplace_back();
    line = {shortened(info.name), shortened(info.sql_type)};
    if (const auto reason = reason_against(of, c)) {
      line.insert(line.end(), {"not stored", "", "", "", "", "", "", *reason});
      continue;
    }
    const column &stored = of.at(c);
    const auto *entries = std::get_if<dictionary>(&stored.values);
    line.insert(line.end(), {fmt::format("{}{}", encoding_name(stored.form), stored.compressed ? "+qpak" : ""),
                             entries != nullptr ? grouped(entries->size()) : "-", stored.has_nulls() ? "yes" : "no",
                             std::to_string(stored.width), grouped(stored.encoded_bytes()), grouped(stored.plain_bytes),
                             ratio(stored.plain_bytes, stored.encoded_bytes()), ""});
  }
  const sizes sum = sizes_of(of);
  lines.push_back(
      {"total", "", "", "", "", "", grouped(sum.encoded), grouped(sum.plain), ratio(sum.plain, sum.encoded), ""});
  return fmt::format("{}: {} row{}\n{}", visible(shortened(of.name())), grouped(of.rows()), plural(of.rows()),
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

std::string described(const comparison &of, uint64_t rows) {
  std::string out = fmt::format("{} row{} {} with DuckDB's", grouped(rows), plural(rows), verdict(of.agree, rows == 1));
  if (!of.agree)
    return out + ": " + visible(of.difference);
  if (of.rounded != 0)
    out += fmt::format("; {} double{} differ{} by rounding, by at most {:.2g} of the value, where {:.2g} is allowed",
                       grouped(of.rounded), plural(of.rounded), of.rounded == 1 ? "s" : "", of.largest, of.bound);
  if (of.open_rows != 0)
    out += fmt::format("; {} tie at a limit, where the query leaves open which come", grouped(of.open_rows));
  return out;
}

std::string times_of(session &with, std::span<const measurement> times) {
  std::vector<std::vector<std::string>> lines;
  // The kernels in force come right before DuckDB.
  const double in_force = times[times.size() - 2].least;
  for (const measurement &m : times)
    lines.push_back(
        {m.engine, fmt::format("{:.3f}", m.milliseconds), fmt::format("{:.3f}", m.least), ratio(m.least, in_force)});
  return fmt::format("kernels in force: {}; DuckDB {}; {} thread{} each\n{}", with.library().name(), duckdb::version(),
                     with.threads(), plural(with.threads()),
                     text_table({{"engine", false}, {"ms", true}, {"least ms", true}, {"times as long", true}}, lines));
}

std::string summary_of(session &with, std::span<const std::string> tables, std::span<const answered> answers) {
  std::string out = "\nsummary\n";
  for (const std::string &name : tables) {
    exec::table &of = *with.tables().find(name);
    const sizes sum = sizes_of(of);
    out += fmt::format("{}: {} rows, {} column{} read, {} bytes as stored", visible(shortened(of.name())),
                       grouped(of.rows()), sum.columns, plural(sum.columns), grouped(sum.encoded));
    const std::shared_ptr<const table_source> source = with.tables().source_of(name);
    if (const auto in_file = source != nullptr ? source->compressed_bytes(sum.names) : std::nullopt)
      out += fmt::format(", {} bytes in the file ({} times as many)", grouped(*in_file), ratio(*in_file, sum.encoded));
    out += fmt::format(", {} bytes plain ({} times as many)\n", grouped(sum.plain), ratio(sum.plain, sum.encoded));
  }
  if (answers.empty())
    return out;
  const auto compared = std::count_if(answers.begin(), answers.end(), [](const auto &a) { return a.compared; });
  const auto equal =
      std::count_if(answers.begin(), answers.end(), [](const auto &a) { return a.compared && a.compared->agree; });
  if (compared != 0)
    out += fmt::format("{} of {} answers agree with DuckDB's\n", equal, compared);
  out += fmt::format("least times with {} thread{}\n\n", with.threads(), plural(with.threads()));
  const std::vector<measurement> &engines = answers.front().times;
  const size_t in_force = engines.size() - 2;
  std::vector<text_column> headings = {{"query", false}, {"rows", true}};
  for (size_t i = 0; i < engines.size(); ++i)
    headings.push_back({i > in_force ? "DuckDB, ms" : engines[i].engine + ", ms", true});
  for (size_t i = 0; i < engines.size(); ++i)
    if (i != in_force)
      headings.push_back(
          {fmt::format("{} / {}", i > in_force ? "DuckDB" : engines[i].engine, engines[in_force].engine), true});
  headings.push_back({"", false});
  std::vector<std::vector<std::string>> lines;
  for (const answered &a : answers) {
    std::vector<std::string> &line = lines.emplace_back();
    line = {shortened(a.query), grouped(a.rows)};
    for (const measurement &m : a.times)
      line.push_back(fmt::format("{:.3f}", m.least));
    for (size_t i = 0; i < a.times.size(); ++i)
      if (i != in_force)
        line.push_back(ratio(a.times[i].least, a.times[in_force].least));
    line.push_back(a.times.back().engine);
  }
  return out + text_table(headings, lines);
}

} // namespace store
