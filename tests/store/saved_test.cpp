// Saved tables: what is had back from a file, and that no file, however it came about, is more than refused.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <array>
#include <csignal>
#include <memory>
#include <numeric>
#include <random>
#include <set>

#include <fmt/format.h>

#include "store/decode/row_reader.hpp"
#include "store/error.hpp"
#include "store/saved/saved_table.hpp"
#include "store/vornq/tables.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/implementation.hpp"
#include <vorn/hash.h>

namespace {

using namespace store;
using namespace store::saved;

// A column of every form, with and without NULLs, and of the kinds that not every key is a value of.
constexpr const char *stored_columns[][3] = {
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

std::span<section> sections_of(std::string &bytes) {
  return {reinterpret_cast<section *>(bytes.data() + sizeof(header)),
          section_count(reinterpret_cast<header *>(bytes.data())->columns)};
}

// Makes all checksums right again, as far as there is something to check.
std::string repaired(std::string bytes) {
  auto &first = *reinterpret_cast<header *>(bytes.data());
  const std::span<section> sections = sections_of(bytes);
  if (sizeof first + sections.size_bytes() > bytes.size())
    return bytes;
  for (section &s : sections)
    if (s.offset <= bytes.size() && s.bytes <= bytes.size() - s.offset)
      s.checksum = vorn_host_hash(bytes.data() + s.offset, s.bytes, 0);
  first.checksum = 0;
  first.checksum = vorn_host_hash(bytes.data(), sizeof first + sections.size_bytes(), 0);
  return bytes;
}

struct saved_test : testing::Test {
  saved_test() {
    ctx.vorn_ctx_decompress = vorn_qpak_decode;
    put_in_force(vorn_test::implementations[0], env);
    std::string sql;
    for (const auto &[name, expression, form] : stored_columns) {
      names.emplace_back(name);
      if (form != nullptr)
        choices[name] = parse_encoding(form);
      sql += fmt::format("{} AS {}, ", expression, name);
    }
    db.query(fmt::format("COPY (SELECT {} FROM range(400) made(i)) TO '{}'", sql, folder.path("t.parquet")));
    loaded("t.parquet")->save(folder.path("t.vorn"));
    whole = folder.read("t.vorn");
  }
  ~saved_test() override { vorn_global_ctx = vorn_test::initial_global_ctx; }

  std::unique_ptr<tables> loaded(const char *name) {
    const std::filesystem::path path = folder.path(name);
    auto out = std::make_unique<tables>(ctx, db, std::span(&path, 1), std::nullopt);
    out->load(names, names, choices);
    return out;
  }

  // All values as text.  What a condition selects are the rows with these values, whatever the file says.
  std::string content(const column &c) const {
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

  // The content of a file, or nothing when it is refused; then the reason is kept.
  std::string content(const std::string &bytes) {
    std::string out;
    try {
      const saved_table table(ctx, {reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()}, "t.vorn");
      for (const column_info &info : table.columns())
        out += content(table.load(info, {}, [](uint64_t) {}));
    } catch (const error &e) {
      out.clear();
      reasons.emplace(e.what() + std::string(e.what()).rfind(": ") + 1);
    }
    return out;
  }

  vorn_test::scratch_folder folder;
  vorn_host::environment env;
  vorn_ctx ctx = env.context();
  duckdb::connection db;
  std::vector<std::string> names;
  choice_map choices;
  std::string whole; // the file
  std::set<std::string, std::less<>> reasons;
};

TEST_F(saved_test, has_the_columns_that_were_saved_and_saves_them_again_to_the_byte) {
  const auto original = loaded("t.parquet"), saved = loaded("t.vorn");
  for (const std::string &name : names)
    EXPECT_EQ(content(original->at(name)), content(saved->at(name)));
  for (const char *file : {"again.vorn", "t.vorn"}) { // one that it is a map of
    EXPECT_EQ(saved->save(folder.path(file)), whole.size());
    EXPECT_EQ(folder.read(file), whole);
  }
}

TEST_F(saved_test, leaves_what_was_there_when_it_cannot_write) {
  const auto from = loaded("t.vorn");
  ASSERT_TRUE(std::filesystem::create_directory(folder.path("folder.vorn")));
  EXPECT_THROW(from->save(folder.path("folder.vorn")), error);
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small = {whole.size() / 2, RLIM_INFINITY}, usual = {RLIM_INFINITY, RLIM_INFINITY};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_THROW(from->save(folder.path("t.vorn")), error);
  setrlimit(RLIMIT_FSIZE, &usual);
  EXPECT_EQ(folder.read("t.vorn"), whole);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 3) << "something is left";
}

TEST_F(saved_test, refuses_what_is_foreign_or_damaged) {
  for (const std::string foreign : {"", "PAR1", "a,b\n1,2\n", "\x93vorn\n\x1a", "\x93vorn\r\n\x1a"})
    EXPECT_EQ(content(foreign), "") << foreign;
  ASSERT_EQ(mkfifo(folder.path("pipe.vorn").c_str(), 0600), 0);
  for (const char *name : {"", "missing.vorn", "pipe.vorn", "t.parquet"})
    EXPECT_THROW(saved_table(ctx, std::filesystem::path(folder.path(name))), error) << name;
  std::mt19937 random(7);
  for (int round = 0; round < 1500; ++round) {
    std::string bytes = whole;
    bytes[random() % bytes.size()] ^= static_cast<char>(1U << random() % 8);
    EXPECT_THAT(content(bytes),
                testing::AnyOf("", content(whole))); // behind the sections are bytes that nobody asks for
    EXPECT_EQ(content(bytes.substr(0, random() % bytes.size())), "");
  }
}

// Files whose checksums are right, so that every other check has to hold: they lie in each number of the header, the
// section table, the catalogue and the batches, end early and say so, or have other bytes anywhere.
TEST_F(saved_test, reads_nothing_that_is_not_there_whoever_wrote_the_file) {
  const std::span<section> sections = sections_of(whole);
  std::vector<std::pair<uint64_t, uint64_t>> regions = {{0, sizeof(header) + sections.size_bytes()}};
  for (uint64_t index = 0; index < sections.size(); ++index)
    if (index == 0 || index % std::size(parts) == 1)
      regions.emplace_back(sections[index].offset, sections[index].offset + sections[index].bytes);
  for (const auto &[begin, end] : regions)
    for (uint64_t at = begin; at + sizeof(uint32_t) <= end; at += sizeof(uint32_t))
      for (const uint32_t changed : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U}) {
        std::string made = whole;
        auto &number = *reinterpret_cast<uint32_t *>(made.data() + at);
        number = std::array{0U, 1U, number + 1, number - 1, number + 64, number ^ 0x100, 0x7fffffffU, ~0U}[changed];
        content(repaired(std::move(made)));
      }
  std::mt19937 random(8);
  for (int round = 0; round < 4000; ++round) {
    std::string made = whole;
    if (round % 8 == 0) {
      made.resize(sizeof(header) + random() % (made.size() - sizeof(header)));
      reinterpret_cast<header *>(made.data())->file_bytes = made.size();
    }
    for (int more = round % 3; more >= 0; --more)
      made[random() % made.size()] = static_cast<char>(random() % 3 != 0 ? random() : random() % 2 * 255);
    content(repaired(std::move(made)));
  }
  EXPECT_THAT(
      reasons,
      testing::IsSupersetOf(
          {" a section goes beyond the end", " two columns have one name", " its form does not fit its values",
           " its dictionary is none", " its dictionary does not ascend", " a compressed stream is not whole",
           " its dictionary has symbols of no values", " its runs are not as long as its rows",
           " a stream is not as long as its rows", " its length codes are none", " its groups do not follow each other",
           " it has keys beyond its range", " it has codes or values beyond those of the column or of a batch"}));
}

} // namespace
