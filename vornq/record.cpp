#include "vornq/record.hpp"

#include <fstream>
#include <string>

#include <fmt/format.h>

#include "store/error.hpp"
#include "vornq/row_writer.hpp"

namespace store {

namespace {

std::string json_text(std::string_view text) {
  std::string out;
  append_json_text(out, text);
  return out;
}

// An array of what is written of each.
template <class Range, class Write>
std::string array_of(const Range &range, Write write) {
  std::string out;
  for (const auto &element : range)
    out += (out.empty() ? "" : ",\n") + write(element);
  return "[" + out + "]";
}

std::string record_of(const column_map::value_type &named) {
  const auto &[name, c] = named;
  return fmt::format(R"({{"column": {}, "encoding": "{}{}", "width": {}, "bytes": {}, "plain_bytes": {}}})",
                     json_text(name), encoding_name(c.form), c.compressed ? "+qpak" : "", c.width, c.encoded_bytes(),
                     c.plain_bytes);
}

std::string record_of(const loaded_table &table) {
  std::vector<std::string> names;
  for (const auto &[name, c] : table.columns)
    names.push_back(name);
  const auto in_file = table.file->compressed_bytes(names);
  return fmt::format(R"({{"table": {}, "rows": {}, "file_bytes": {}, "columns": {}}})", json_text(table.file->name()),
                     table.file->rows(), in_file ? std::to_string(*in_file) : "null",
                     array_of(table.columns, [](const auto &named) { return record_of(named); }));
}

std::string record_of(const answered &a) {
  return fmt::format(R"({{"question": {}, "agree": {}, "row_groups": {}, "settled_by_statistics": {}, "engines": {}}})",
                     json_text(a.question), a.given.agree, a.given.row_groups, a.given.settled,
                     array_of(a.given.measurements, [](const measurement &m) {
                       return fmt::format(
                           R"({{"engine": {}, {}"matches": {}, "median_ms": {:.6f}, "least_ms": {:.6f}}})",
                           json_text(m.engine), m.read.empty() ? "" : fmt::format(R"("read": {}, )", json_text(m.read)),
                           m.matches, m.milliseconds, m.least);
                     }));
}

} // namespace

void write_record(const std::filesystem::path &path, const tables &from, std::span<const answered> answers,
                  std::string_view kernels_in_force, size_t threads) {
  const auto written = [](const auto &element) { return record_of(element); };
  std::ofstream file(path);
  file << fmt::format("{{\"kernels\": {}, \"threads\": {},\n\"tables\": {},\n\"answers\": {}}}\n",
                      json_text(kernels_in_force), threads, array_of(from.list(), written), array_of(answers, written));
  if (!file.flush())
    throw error(fmt::format("cannot write {}", path.string()));
}

} // namespace store
