// A saved table with a column of every form, what is read of it, and checksums that are right whatever was changed.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "store/decode/row_reader.hpp"
#include "store/saved/saved_table.hpp"
#include "tests/store/scratch_folder.hpp"
#include "vornq/tables.hpp"
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
  row_reader reader(ctx, c, nullptr);
  for (std::span<const cell> some; !(some = reader.next()).empty();)
    for (const cell &value : some) {
      append_text(out += ' ', value, c.type);
      expected += is_searched && !(value < c.value_of(bound)) ? 1 : 0;
    }
  selection found;
  if (is_searched)
    filter(ctx, c, ordinal_comparison{comparison::ge, bound}, nullptr, found);
  EXPECT_EQ(found.count, expected) << c.name;
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
    db.query(fmt::format("COPY (SELECT {} FROM range(400) made(i)) TO '{}'", sql, folder.path("t.parquet")));
    loaded("t.parquet")->save(folder.path("t.vorn"));
    whole = folder.read("t.vorn");
  }

  std::unique_ptr<store::tables> loaded(const char *name) {
    const std::filesystem::path path = folder.path(name);
    auto out = std::make_unique<store::tables>(ctx, db, std::span(&path, 1), std::nullopt);
    out->load(names, names, choices);
    return out;
  }

  const vorn_ctx &ctx;
  scratch_folder folder;
  store::duckdb::connection db;
  std::vector<std::string> names;
  store::choice_map choices;
  std::string whole; // the file
};

} // namespace vorn_test
