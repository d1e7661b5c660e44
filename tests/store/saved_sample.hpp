// A saved table with a column of every form, what is read of it, and checksums that are right whatever was changed.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "sql/catalogue.hpp"
#include "store/operator/ordinal_scan.hpp"
#include "store/saved/save.hpp"
#include "store/saved/saved_table.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/store/stored_values.hpp"
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
    {"natural", "18446744073709551615 - i::UBIGINT", "prefix"},
    {"real", "i / 7 - 20", "prefix"},
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
  uint64_t expected = 0, found = 0;
  for_each_value(ctx, c, [&](const cell &value) {
    append_text(out += ' ', value, c.type);
    expected += is_searched && !(value < c.value_of(bound)) ? 1 : 0;
  });
  if (is_searched) {
    const exec::ordinal_scan asked(c, exec::ordinal_ranges(bound, c.last_ordinal()));
    static exec::arena memory;
    std::vector<uint64_t> words(row_group_rows / 64);
    for (const column_segment &rows : c.segments) {
      const auto covered = asked.covers(rows);
      found += covered == exec::ordinal_ranges::coverage::none ? 0
               : covered == exec::ordinal_ranges::coverage::all
                   ? rows.rows
                   : asked.run(ctx, rows, nullptr, 0, words.data(), memory);
      memory.rewind({});
    }
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
      names.emplace_back(name);
      if (form != nullptr)
        choices[name] = store::parse_encoding(form);
      sql += fmt::format("{} AS {}, ", expression, name);
    }
    store::duckdb::connection(1).query(
        fmt::format("COPY (SELECT {} FROM range(400) made(i)) TO '{}'", sql, folder.path("t.parquet")));
    tables = std::make_unique<store::sql::catalogue>(ctx, choices);
    save(*loaded("t.parquet"), "t.vorn");
    whole = folder.read("t.vorn");
  }

  std::shared_ptr<store::exec::table> loaded(const char *name) const { return tables->find(folder.path(name)); }
  uint64_t save(store::exec::table &saved, const char *name) const {
    std::vector<store::saved_column> columns;
    for (size_t i = 0; i < names.size(); ++i)
      columns.push_back({names[i], saved.columns()[i].sql_type, saved.at(i)});
    return store::save(folder.path(name), columns);
  }

  const vorn_ctx &ctx;
  scratch_folder folder;
  std::vector<std::string> names;
  store::choice_map choices;
  std::unique_ptr<store::sql::catalogue> tables;
  std::string whole; // the file
};

} // namespace vorn_test
