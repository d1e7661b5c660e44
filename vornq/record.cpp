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

// A JSON array with the text that `write` makes of each element.
template <class Range, class Write>
std::string array_of(const Range &range, const Write &write) {
  std::string out;
  for (const auto &element : range)
    out += (out.empty() ? "" : ",\n") + write(element);
  return "[" + out + "]";
}

std::string record_of(session &with, const std::string &name) {
  exec::table &of = *with.tables().find(name);
  std::vector<std::string> names;
  std::string columns;
  for (size_t c = 0; c < of.columns().size(); ++c) {
    if (!of.is_loaded(c))
      continue;
    const column &stored = of.at(c);
    names.push_back(of.columns()[c].name);
    columns += fmt::format(R"({}{{"column": {}, "encoding": "{}{}", "width": {}, "bytes": {}, "plain_bytes": {}}})",
                           columns.empty() ? "" : ",\n", json_text(names.back()), encoding_name(stored.form),
                           stored.compressed ? "+qpak" : "", stored.width, stored.encoded_bytes(), stored.plain_bytes);
  }
  const std::shared_ptr<const table_source> source = with.tables().source_of(name);
  const auto in_file = source == nullptr ? std::nullopt : source->compressed_bytes(names);
  return fmt::format(R"({{"table": {}, "rows": {}, "file_bytes": {}, "columns": [{}]}})", json_text(of.name()),
                     of.rows(), in_file ? std::to_string(*in_file) : "null", columns);
}

std::string record_of(const measurement &m) {
  return fmt::format(R"({{"engine": {}, "median_ms": {:.6f}, "least_ms": {:.6f}}})", json_text(m.engine),
                     m.milliseconds, m.least);
}

std::string record_of(const answered &a) {
  return fmt::format(R"({{"query": {}, "rows": {}, {}"engines": {}}})", json_text(a.query), a.rows,
                     a.compared ? fmt::format(R"("agree": {}, )", a.compared->agree) : "",
                     array_of(a.times, [](const measurement &m) { return record_of(m); }));
}

} // namespace

void write_record(const std::filesystem::path &path, session &with, const answers &all) {
  std::ofstream file(path);
  file << fmt::format("{{\"kernels\": {}, \"threads\": {},\n\"tables\": {},\n\"answers\": {}}}\n",
                      json_text(with.library().name()), with.threads(),
                      array_of(all.tables, [&](const std::string &name) { return record_of(with, name); }),
                      array_of(all.given, [](const answered &a) { return record_of(a); }));
  if (!file.flush())
    throw error(fmt::format("cannot write {}", path.string()));
}

} // namespace store
