// Saved tables: what is had back from a file, and that no file, however it came about, is more than refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "store/decode/row_reader.hpp"
#include "store/error.hpp"
#include "store/query/filter.hpp"
#include "store/saved/format.hpp"
#include "store/saved/saved_table.hpp"
#include "store/vornq/tables.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/implementation.hpp"
#include <vorn/hash.h>

namespace {

using namespace store;
using namespace store::saved;

// A column of every form, with and without NULLs, and of the kinds that not every key is a value of.
constexpr struct stored_column {
  const char *name, *sql, *form = nullptr;
} stored_columns[] = {
    {"n", "CASE WHEN i % 5 <> 0 THEN i % 40 END"},
    {"o", "CASE i % 9 WHEN 0 THEN NULL WHEN 1 THEN '' ELSE 'text ' || i END", "dict+qpak"},
    {"runs", "i // 90", "rle"},
    {"half", "CASE WHEN i > 200 THEN i // 2 END", "rle+qpak"},
    {"none", "NULL::DATE"},
    {"day", "DATE '2001-01-01' + i::INT", "fixed"},
    {"packed", "i * 3", "fixed+qpak"},
    {"small", "i % 300", "dynp"},
    {"clock", "TIME '00:00:00' + to_seconds(i)", "dynp"},
    {"big", "i * 12345678901", "dynp+qpak"},
    {"large", "i * 98765432109", "dynp"},
    {"code", "lpad(i::VARCHAR, 6, '0')", "prefix"},
    {"keys", "i * 70000", "prefix"},
    {"flag", "i % 2 = 0"},
    {"hour", "TIME '00:00:00' + to_hours(i % 24)"},
    {"id", "md5(i::VARCHAR)::UUID"},
    {"x", "i / 7"},
    {"price", "(i % 90)::DECIMAL(9, 2)"},
};

class saved_test : public testing::Test {
protected:
  saved_test() {
    ctx.vorn_ctx_decompress = vorn_qpak_decode;
    put_in_force(vorn_test::implementations[0], env);
    std::string sql;
    for (const stored_column &c : stored_columns) {
      names.emplace_back(c.name);
      if (c.form != nullptr)
        choices[c.name] = parse_encoding(c.form);
      sql += fmt::format("{} AS {}, ", c.sql, c.name);
    }
    db.query(fmt::format("COPY (SELECT {} FROM range(400) made(i)) TO '{}'", sql, folder.path("t.parquet")));
    loaded("t.parquet")->save(file);
    whole = read("t.vorn");
  }
  ~saved_test() override { vorn_global_ctx = vorn_test::initial_global_ctx; }

  std::unique_ptr<tables> loaded(const char *name) {
    const std::filesystem::path path = folder.path(name);
    auto out = std::make_unique<tables>(ctx, db, std::span(&path, 1), std::nullopt);
    out->load(names, names, choices);
    return out;
  }
  std::vector<uint8_t> read(const char *name) const {
    const std::string text = folder.read(name);
    return {text.begin(), text.end()};
  }

  // All values as text.  What a condition selects are the rows with these values, whatever the file says.
  std::string content(const column &c) const {
    std::string out = c.name;
    const bool is_searched = c.form != encoding::prefix && c.rows != 0 && c.first_ordinal() <= c.last_ordinal();
    const uint64_t middle = is_searched ? c.first_ordinal() + (c.last_ordinal() - c.first_ordinal()) / 2 : 0;
    const cell bound = is_searched ? c.value_of(middle) : cell();
    uint64_t expected = 0;
    row_reader reader(ctx, c, nullptr);
    for (std::span<const cell> some; !(some = reader.next()).empty();)
      for (const cell &value : some) {
        append_text(out += ' ', value, c.type);
        expected += value < bound ? 0 : 1;
      }
    selection found;
    if (is_searched)
      filter(ctx, c, ordinal_comparison{comparison::ge, middle}, nullptr, found);
    EXPECT_EQ(found.count, is_searched ? expected : 0) << c.name;
    return out + '\n';
  }
  std::string content(const table_source &table) const {
    std::string out;
    for (const column_info &info : table.columns())
      out += content(table.load(info, {}, [](uint64_t) {}));
    return out;
  }

  // The content of a file, or nothing when it is refused; then the reason is kept.
  std::optional<std::string> content(std::span<const uint8_t> bytes) {
    try {
      return content(saved_table(ctx, bytes, "t.vorn"));
    } catch (const error &e) {
      const std::string_view reason = e.what();
      EXPECT_EQ(reason.find('\n'), reason.npos);
      reasons.emplace(reason.substr(reason.rfind(": ") + 1));
      return std::nullopt;
    }
  }

  static header header_of(std::span<const uint8_t> bytes) {
    header out;
    std::memcpy(&out, bytes.data(), sizeof out);
    return out;
  }
  static section section_of(std::span<const uint8_t> bytes, uint64_t index) {
    section out;
    std::memcpy(&out, bytes.data() + sizeof(header) + index * sizeof out, sizeof out);
    return out;
  }

  // Makes all checksums right again, as far as there is something to check.
  static void repair(std::vector<uint8_t> &bytes) {
    header first = header_of(bytes);
    const uint64_t end = sizeof first + section_count(first.columns) * sizeof(section);
    if (end > bytes.size())
      return;
    for (uint64_t index = 0; index < section_count(first.columns); ++index)
      if (section s = section_of(bytes, index); s.offset <= bytes.size() && s.bytes <= bytes.size() - s.offset) {
        s.checksum = vorn_host_hash(bytes.data() + s.offset, s.bytes, 0);
        std::memcpy(bytes.data() + sizeof first + index * sizeof s, &s, sizeof s);
      }
    first.checksum = 0;
    std::memcpy(bytes.data(), &first, sizeof first);
    first.checksum = vorn_host_hash(bytes.data(), end, 0);
    std::memcpy(bytes.data(), &first, sizeof first);
  }

  vorn_test::scratch_folder folder;
  vorn_host::environment env;
  vorn_ctx ctx = env.context();
  duckdb::connection db;
  std::vector<std::string> names;
  choice_map choices;
  std::string file = folder.path("t.vorn");
  std::vector<uint8_t> whole; // the file
  std::set<std::string, std::less<>> reasons;
};

TEST_F(saved_test, has_the_columns_that_were_saved_and_saves_them_again_to_the_byte) {
  const auto original = loaded("t.parquet"), saved = loaded("t.vorn");
  for (const std::string &name : names)
    EXPECT_EQ(content(original->at(name)), content(saved->at(name)));
  saved->save(folder.path("again.vorn"));
  EXPECT_EQ(read("again.vorn"), whole);
  saved->save(file); // which it is a map of
  EXPECT_EQ(read("t.vorn"), whole);
  EXPECT_EQ(content(saved_table(ctx, file)), content(whole));
}

TEST_F(saved_test, leaves_what_was_there_when_it_cannot_write) {
  const auto from = loaded("t.vorn");
  std::filesystem::create_directory(folder.path("folder.vorn"));
  EXPECT_THROW(from->save(folder.path("folder.vorn")), error);
  EXPECT_THROW(from->save(folder.path("missing/t.vorn")), error);
  rlimit usual = {};
  getrlimit(RLIMIT_FSIZE, &usual);
  const rlimit small = {whole.size() / 2, usual.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_THROW(from->save(file), error);
  setrlimit(RLIMIT_FSIZE, &usual);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(read("t.vorn"), whole);
  std::set<std::string> left;
  for (const auto &entry : std::filesystem::directory_iterator(folder.path()))
    left.insert(entry.path().filename().string());
  EXPECT_THAT(left, testing::ElementsAre("folder.vorn", "t.parquet", "t.vorn"));
}

TEST_F(saved_test, refuses_what_is_none) {
  for (const std::string_view foreign : {"", "P", "PAR1", "a,b\n1,2\n", "\x93vorn\n\x1a", "\x93vorn\r\n\x1a"})
    EXPECT_FALSE(content({reinterpret_cast<const uint8_t *>(foreign.data()), foreign.size()})) << foreign;
  ASSERT_EQ(mkfifo(folder.path("pipe.vorn").c_str(), 0600), 0);
  for (const char *name : {"", "missing.vorn", "pipe.vorn", "t.parquet"})
    EXPECT_THROW(saved_table(ctx, folder.path(name)), error) << name;
}

TEST_F(saved_test, refuses_what_is_damaged) {
  const std::string original = *content(whole);
  std::mt19937 random(7);
  // Behind the sections lie bytes that nobody asks for.
  for (int round = 0; round < 1500; ++round) {
    std::vector<uint8_t> bytes = whole;
    bytes[random() % bytes.size()] ^= static_cast<uint8_t>(1U << random() % 8);
    EXPECT_EQ(content(bytes).value_or(original), original);
    bytes.resize(random() % bytes.size());
    EXPECT_FALSE(content(bytes));
  }
  EXPECT_THAT(reasons, testing::Contains(" a section has changed"));
}

// Files whose checksums are right, so that every other check has to hold.
TEST_F(saved_test, reads_nothing_that_is_not_there_whoever_wrote_the_file) {
  const auto try_with = [&](std::vector<uint8_t> bytes) {
    repair(bytes);
    content(bytes);
  };
  // Every number of the header, the section table, the catalogue and the batches.
  std::vector<std::pair<uint64_t, uint64_t>> regions = {
      {0, sizeof(header) + section_count(std::size(stored_columns)) * sizeof(section)}};
  for (uint64_t index = 0; index < section_count(std::size(stored_columns)); ++index)
    if (index == 0 || index % std::size(parts) == section_index(0, part::batches))
      regions.emplace_back(section_of(whole, index).offset, section_of(whole, index).bytes);
  for (const auto &[begin, bytes] : regions)
    for (uint64_t at = begin; at + sizeof(uint32_t) <= begin + bytes; at += sizeof(uint32_t)) {
      uint32_t old = 0;
      std::memcpy(&old, whole.data() + at, sizeof old);
      for (const uint32_t changed : {0U, 1U, old + 1, old - 1, old + 64, old ^ 0x100, 0x7fffffffU, ~0U}) {
        std::vector<uint8_t> made = whole;
        std::memcpy(made.data() + at, &changed, sizeof changed);
        try_with(std::move(made));
      }
    }
  // Files that end early and say so, and bytes anywhere.
  std::mt19937 random(8);
  for (int round = 0; round < 4000; ++round) {
    std::vector<uint8_t> made = whole;
    if (round % 8 == 0) {
      made.resize(sizeof(header) + random() % (made.size() - sizeof(header)));
      header first = header_of(made);
      first.file_bytes = made.size();
      std::memcpy(made.data(), &first, sizeof first);
    }
    for (int more = round % 3; more >= 0; --more)
      made[random() % made.size()] = static_cast<uint8_t>(random() % 3 != 0 ? random() : random() % 2 * 255);
    try_with(std::move(made));
  }
  for (const char *reason :
       {" there are no columns", " a section goes beyond the end", " a column has a type that is not stored",
        " two columns have one name", " its form is unknown", " its form does not fit its values",
        " its dictionary is none", " its dictionary does not ascend", " its dictionary has symbols of no values",
        " it has not as many batches as the table", " it has not as many runs as rows",
        " its runs are not as long as its rows", " a stream is not as long as its rows", " its length codes are none",
        " its groups do not follow each other", " a compressed stream is not whole",
        " it has codes or values beyond those of the column or of a batch", " it has keys beyond its range"})
    EXPECT_THAT(reasons, testing::Contains(reason));
}

} // namespace
