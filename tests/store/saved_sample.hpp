// A saved table with a column of every form, what is read of it, and checksums that are right whatever was changed.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "sql/table_file.hpp"
#include "store/operator/ordinal_scan.hpp"
#include "store/saved/save.hpp"
#include "store/saved/saved_table.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/store/stored_cells.hpp"
#include <vorn/encode.h>

namespace vorn_test {

// With and without NULLs, and of the kinds that not every key is a value of.
inline constexpr const char *stored_columns[][3] = {
    {"n", "CASE WHEN i % 5 <> 0 THEN i % 40 END"},
    {"o", "CASE i % 9 WHEN 0 THEN NULL WHEN 1 THEN '' ELSE 'text ' || i END", "dict+qpak"},
    {"runs", "i // 90", "rle"},
    {"half", "CASE WHEN i > 200 THEN i // 2 END", "rle+qpak"},
    {"none", "NULL::DATE"},
    {"day", "DATE '2001-01-01' + i::INT", "fixed"},
    {"small", "i % 300", "dynp"},
    {"clock", "TIME '00:00:00' + to_seconds(i)", "dynp"},
    {"big", "i * 12345678901", "dynp+qpak"},
    {"code", "lpad(i::VARCHAR, 6, '0')", "prefix"},
    {"keys", "i * 70000", "prefix"},
    {"flag", "i % 2 = 0"},
    {"id", "md5(i::VARCHAR)::UUID"}};

inline std::span<store::saved::section> sections_of(std::string &bytes) {
  using namespace store::saved;
  return {reinterpret_cast<section *>(bytes.data() + sizeof(header)),
          section_count(reinterpret_cast<header *>(bytes.data())->columns)};
}

// Makes all checksums right again, as far as there is something to check.  Inlined, gcc would think of a string so
// short that it holds its bytes itself.
[[gnu::noinline]] inline std::string repaired(std::string bytes) {
  using namespace store::saved;
  auto &first = *reinterpret_cast<header *>(bytes.data());
  const std::span<section> sections = sections_of(bytes);
  if (sizeof first + sections.size_bytes() > bytes.size())
    return bytes;
  for (section &s : sections)
    if (s.offset <= bytes.size() && s.bytes <= bytes.size() - s.offset)
      s.checksum = vornenc_hash(bytes.data() + s.offset, s.bytes, 0);
  first.checksum = 0;
  first.checksum = vornenc_hash(bytes.data(), sizeof first + sections.size_bytes(), 0);
  return bytes;
}

// All values as text.  What a condition selects are the rows with these values, whatever the file says.
inline std::string content(const vorn_ctx &ctx, const store::column &c) {
  using namespace store;
  std::string out = c.name;
  const bool is_searched = c.form != encoding::prefix && c.rows != 0 && c.first_ordinal() <= c.last_ordinal();
  const uint64_t bound = is_searched ? std::midpoint(c.first_ordinal(), c.last_ordinal()) : 0;
  uint64_t expected = 0;
  for_each_cell(ctx, c, [&](const cell &value) {
    append_text(out += ' ', value, c.type);
    expected += is_searched && !(value < c.value_of(bound)) ? 1 : 0;
  });
  uint64_t found = 0;
  if (is_searched) {
    const exec::ordinal_scan scan(c, {bound, c.last_ordinal()});
    vorn_host::aligned_vector<uint64_t> bits(batch_rows / 64);
    exec::arena memory;
    for (const batch &rows : c.batches)
      found += scan.run(ctx, rows, nullptr, 0, bits.data(), memory);
  }
  EXPECT_EQ(found, expected) << c.name;
  return out + '\n';
}

// The content of a file.  Throws store::error when it is refused.
inline std::string content_of(const vorn_ctx &ctx, const std::string &bytes) {
  std::string out;
  const store::saved_table table(ctx, {reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()}, "t.vorn");
  for (const store::column_info &info : table.columns())
    out += content(ctx, table.load(info, {}, [](uint64_t) {}));
  return out;
}

struct saved_sample {
  // The context outlives this.
  explicit saved_sample(const vorn_ctx &context) : ctx(context) {
    std::string sql;
    for (const auto &[name, expression, form] : stored_columns) {
      if (form != nullptr)
        choices[name] = store::parse_encoding(form);
      sql += fmt::format("{} AS {}, ", expression, name);
    }
    db.query(fmt::format("COPY (SELECT {} FROM range(400) made(i)) TO '{}'", sql, folder.path("t.parquet")));
    save(loaded("t.parquet"), "t.vorn");
    whole = folder.read("t.vorn");
  }

  // The columns of a file of this folder, by the form that is chosen for them.
  std::vector<store::column> loaded(const std::string &name) {
    const std::filesystem::path path = folder.path(name);
    std::unique_ptr<store::table_source> file;
    if (path.extension() == ".vorn")
      file = std::make_unique<store::saved_table>(ctx, path);
    else
      file = std::make_unique<store::table_file>(db, path);
    std::vector<store::column> out;
    types.clear();
    for (const store::column_info &info : file->columns()) {
      const auto chosen = path.extension() == ".vorn" ? choices.end() : choices.find(info.name);
      out.push_back(
          file->load(info, chosen == choices.end() ? store::encoding_choice{} : chosen->second, [](uint64_t) {}));
      types.push_back(info.sql_type);
    }
    return out;
  }
  uint64_t save(const std::vector<store::column> &columns, const std::string &name) const {
    std::vector<store::saved_column> saved;
    for (size_t c = 0; c < columns.size(); ++c)
      saved.push_back({columns[c].name, types[c], columns[c]});
    return store::save(folder.path(name), saved);
  }

  const vorn_ctx &ctx;
  scratch_folder folder;
  store::duckdb::connection db;
  std::vector<std::string> types; // of the columns that were loaded last
  store::choice_map choices;
  std::string whole; // the file
};

} // namespace vorn_test
