#include "sql/catalogue.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "sql/table_file.hpp"
#include "store/error.hpp"
#include "store/saved/saved_table.hpp"
#include "store/saved/saved_tables.hpp"

namespace store::sql {

namespace {

bool is_saved(const std::filesystem::path &path) { return path.extension() == saved_table::ending; }
constexpr const char *part_of = " of "; // in the name of a part of a file
constexpr std::string_view standard_input = "/dev/stdin";
bool is_table(const std::filesystem::path &path) {
  return is_saved(path) || is_table_file(path) || path == standard_input;
}

// "flights" of "data/flights.csv.gz".
std::string stem_of(const std::filesystem::path &path) {
  std::filesystem::path name = path.filename();
  if (name.extension() == ".gz")
    name = name.stem();
  return name.stem().string();
}

} // namespace

catalogue::catalogue(const vorn_ctx &library, choice_map encodings)
    : library_(library), encodings_(std::move(encodings)) {}

void catalogue::add_folder(const std::filesystem::path &folder) {
  if (!std::filesystem::is_directory(folder))
    throw error(fmt::format("no such folder: {}", shortened(folder.string())));
  std::vector<std::filesystem::path> files;
  for (const auto &file : std::filesystem::directory_iterator(folder))
    if (file.is_regular_file() && is_table(file.path()))
      files.push_back(file.path());
  std::sort(files.begin(), files.end());
  for (const std::filesystem::path &file : files)
    add_files(stem_of(file), std::span(&file, 1));
}

void catalogue::add_files(const std::string &name, std::span<const std::filesystem::path> files) {
  const std::lock_guard lock(guard_);
  if (const entry *other = known(name))
    throw error(fmt::format("two tables have the name {}: {}{}", shortened(name),
                            other->files.empty() ? "" : shortened(other->files.front().string()) + " and ",
                            shortened(files.front().string())));
  entries_[duckdb::lower_case(name)].files.assign(files.begin(), files.end());
}

void catalogue::add(std::shared_ptr<exec::table> added) {
  const std::lock_guard lock(guard_);
  const std::string name = added->name();
  if (known(name) != nullptr)
    throw error(fmt::format("two tables have the name {}", shortened(name)));
  entries_[duckdb::lower_case(name)].opened = std::move(added);
}

void catalogue::put(std::shared_ptr<exec::table> added) {
  const std::lock_guard lock(guard_);
  entry &of = entries_[duckdb::lower_case(added->name())];
  of = {};
  of.opened = std::move(added);
}

void catalogue::put_file(const std::string &name, const std::filesystem::path &file) {
  const std::lock_guard lock(guard_);
  entry &of = entries_[duckdb::lower_case(name)];
  of = {};
  of.files = {file};
}

bool catalogue::remove(const std::string &name) {
  const std::lock_guard lock(guard_);
  const std::string end_of_parts = part_of + name;
  std::erase_if(entries_, [&](const auto &known) { return known.first.ends_with(end_of_parts); });
  return entries_.erase(name) + entries_.erase(duckdb::lower_case(name)) != 0;
}

catalogue::entry *catalogue::known(const std::string &name) {
  auto found = entries_.find(name);
  if (found == entries_.end())
    found = entries_.find(duckdb::lower_case(name));
  return found == entries_.end() ? nullptr : &found->second;
}

bool catalogue::knows(const std::string &name) const { return has(name) || is_table(name); }

bool catalogue::has(const std::string &name) const {
  const std::lock_guard lock(guard_);
  return entries_.contains(name) || entries_.contains(duckdb::lower_case(name));
}

std::vector<std::string> catalogue::names() const {
  const std::lock_guard lock(guard_);
  std::vector<std::string> out;
  out.reserve(entries_.size());
  for (const auto &[name, of] : entries_)
    if (!is_table(name)) // a file that a query has named
      out.push_back(name);
  return out;
}

// DuckDB reads a file several times, which standard input is not.
const std::string &catalogue::copied_input() {
  if (copied_input_)
    return copied_input_->name();
  std::string first(4, '\0');
  std::cin.read(first.data(), static_cast<std::streamsize>(first.size()));
  first.resize(static_cast<size_t>(std::cin.gcount()));
  const std::string ending = first == "PAR1" ? ".parquet" : first.starts_with("\x1f\x8b") ? ".csv.gz" : ".csv";
  copied_input_.emplace((std::filesystem::temp_directory_path() / ("vorn-input-XXXXXX" + ending)).string(),
                        static_cast<int>(ending.size()));
  std::ofstream copy(copied_input_->name(), std::ios::binary);
  copy << first;
  if (std::cin.peek() != std::istream::traits_type::eof())
    copy << std::cin.rdbuf();
  copy.close();
  if (copied_input_->descriptor() == -1 || !copy)
    throw error(fmt::format("cannot keep standard input in {}: {}", copied_input_->name(), std::strerror(errno)));
  return copied_input_->name();
}

std::vector<std::filesystem::path> catalogue::files_of(const std::string &pattern) {
  if (pattern == standard_input)
    return {copied_input()};
  if (std::filesystem::exists(pattern))
    return {pattern};
  std::vector<std::filesystem::path> out;
  if (pattern.find_first_of("*?[") != pattern.npos) {
    duckdb::result files =
        reader_.query(fmt::format("SELECT file FROM glob({}) ORDER BY file", duckdb::quoted_text(pattern)));
    while (const auto chunk = files.next())
      for (uint64_t row = 0; row < chunk->rows(); ++row)
        out.emplace_back(chunk->column(0).text(row));
  }
  if (out.empty())
    throw error(fmt::format("no such file: {}", shortened(pattern)));
  return out;
}

catalogue::entry &catalogue::opened(const std::string &name) {
  entry *of = known(name);
  if (of == nullptr) {
    if (!is_table(name))
      throw error(fmt::format("no such table: {}", shortened(name)));
    std::vector<std::filesystem::path> files = files_of(name);
    of = &entries_[name];
    of->files = std::move(files);
  }
  if (!of->opened || (!of->files.empty() && of->states != states_of(of->files)))
    open_files(name, *of);
  return *of;
}

std::vector<catalogue::file_state> catalogue::states_of(std::span<const std::filesystem::path> files) {
  std::vector<file_state> out;
  for (const std::filesystem::path &file : files) {
    std::error_code ignored; // whoever opens the file says what is wrong with it
    out.push_back({std::filesystem::last_write_time(file, ignored), std::filesystem::file_size(file, ignored)});
  }
  return out;
}

void catalogue::open_files(const std::string &name, entry &of) {
  of.states = states_of(of.files);
  if (!std::any_of(of.files.begin(), of.files.end(), is_saved))
    of.source = of.row_groups ? std::make_shared<table_file>(reader_, of.files.front(), of.row_groups->first,
                                                             of.row_groups->second)
                              : std::make_shared<table_file>(reader_, of.files);
  else if (of.files.size() == 1)
    of.source = std::make_shared<saved_table>(library_, of.files.front());
  else
    of.source = std::make_shared<saved_tables>(library_, of.files);
  open(name, of);
}

void catalogue::open(const std::string &name, entry &of) {
  of.opened = std::make_shared<exec::table>(
      name, of.source->columns(), of.source->rows(),
      [this, name, source = of.source](size_t index) { return load(name, *source, index); });
}

void catalogue::add_call(const std::string &name, const std::string &call) {
  const std::lock_guard lock(guard_);
  entry added;
  added.source = std::make_shared<table_file>(reader_, call);
  open(name, added);
  entries_.emplace(name, std::move(added));
}

void catalogue::require_unchanged() {
  const std::lock_guard lock(guard_);
  for (const auto &[name, of] : entries_)
    if (of.source)
      of.source->require_unchanged();
}

std::shared_ptr<exec::table> catalogue::find(const std::string &name) {
  const std::lock_guard lock(guard_);
  return opened(name).opened;
}

exec::table_part catalogue::find_part(const std::string &name, size_t first, size_t end) {
  const std::lock_guard lock(guard_);
  const entry &whole = opened(name);
  if (whole.files.size() != 1 || whole.files.front().extension() != ".parquet")
    return {whole.opened, first, end};
  // The name ends as the name of a file does.
  const std::string part_name =
      fmt::format("row groups {} to {}{}{}", first, end, part_of, whole.files.front().string());
  entry &part = entries_[part_name];
  part.files = whole.files;
  part.row_groups = {first, end};
  return opened(part_name).opened;
}

std::shared_ptr<const table_source> catalogue::source_of(const std::string &name) {
  const std::lock_guard lock(guard_);
  return opened(name).source;
}

std::vector<std::filesystem::path> catalogue::saved_files_of(const std::string &name) {
  const std::lock_guard lock(guard_);
  const entry &of = opened(name);
  return std::all_of(of.files.begin(), of.files.end(), is_saved) ? of.files : std::vector<std::filesystem::path>();
}

std::shared_ptr<const column> catalogue::load(const std::string &table, const table_source &source, size_t index) {
  const column_info &info = source.columns()[index];
  if (!info.type)
    throw error(fmt::format("column '{}' has the type {}, which is not stored", shortened(info.name), info.sql_type));
  auto choice = encodings_.find(info.name);
  if (choice == encodings_.end())
    choice = encodings_.find(table + "." + info.name);
  const std::lock_guard lock(guard_); // DuckDB reads one column at a time
  return std::make_shared<const column>(
      source.load(info, choice == encodings_.end() ? encoding_choice{} : choice->second, [&](uint64_t rows) {
        if (progress_)
          progress_({table, info.name, rows, source.rows()});
      }));
}

} // namespace store::sql
