#include "vornq/output_file.hpp"

#include <algorithm>
#include <array>
#include <string>

#include <fmt/format.h>

#include "sql/written_file.hpp"
#include "store/error.hpp"
#include "store/saved/replaced_file.hpp"
#include "vornq/arrow_file.hpp"
#include "vornq/row_writer.hpp"

namespace store {

namespace {

void write_text(saved::replaced_file &file, const exec::answer &rows, row_format format) {
  uint64_t at = 0;
  write_rows(rows, format, 0, [&](std::string_view text) {
    file.write({reinterpret_cast<const uint8_t *>(text.data()), text.size()}, at);
    at += text.size();
  });
}

} // namespace

void check_ending(const std::filesystem::path &path) {
  constexpr std::array known = {".csv", ".json", ".jsonl", ".parquet", ".arrow"};
  const std::string ending = path.extension().string();
  if (std::find(known.begin(), known.end(), ending) == known.end())
    throw error(
        fmt::format("{} ends in none of .csv, .json, .jsonl, .parquet, .arrow and .vorn", shortened(path.string())));
}

void write_file(const std::filesystem::path &path, const exec::answer &rows) {
  const std::string ending = path.extension().string();
  saved::replaced_file file(path);
  if (ending == ".parquet")
    sql::write_parquet(file.name(), rows);
  else if (ending == ".arrow")
    write_arrow_file(file, rows);
  else
    write_text(file, rows, parse_row_format(std::string_view(ending).substr(1)));
  file.finish();
}

} // namespace store
