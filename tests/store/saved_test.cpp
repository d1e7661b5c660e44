// Saved tables: what is read from a file, and that no file, however it came about, is more than refused.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <array>
#include <csignal>
#include <random>
#include <set>

#include "store/error.hpp"
#include "tests/store/saved_sample.hpp"
#include "tests/support/implementation.hpp"
#include "tests/support/random.hpp"

namespace {

using namespace store;
using namespace store::saved;
using vorn_test::repaired;
using vorn_test::sections_of;

struct saved_test : testing::Test {
  saved_test() { put_in_force(vorn_test::implementations[0], env); }
  ~saved_test() override { vorn_global_ctx = vorn_test::initial_global_ctx; }

  std::string content(const column &c) const { return vorn_test::content(ctx, c); }

  // The content of a file, or nothing when it is refused; then the reason is kept.
  std::string content(const std::string &bytes) {
    try {
      return vorn_test::content_of(ctx, bytes);
    } catch (const error &e) {
      const std::string_view reason = e.what();
      reasons.emplace(reason.substr(reason.rfind(": ") + 1));
      return "";
    }
  }

  vorn_host::environment env;
  vorn_ctx ctx = [this] {
    vorn_ctx out = env.context();
    out.vorn_ctx_decompress = vorn_qpak_decode;
    return out;
  }();
  vorn_test::saved_sample sample{ctx};
  const vorn_test::scratch_folder &folder = sample.folder;
  std::string &whole = sample.whole;
  std::set<std::string, std::less<>> reasons;
  vorn_test::random_source turns{9};
};

TEST_F(saved_test, has_the_columns_that_were_saved_and_saves_them_again_to_the_byte) {
  const auto original = sample.loaded("t.parquet"), saved = sample.loaded("t.vorn");
  for (size_t i = 0; i < sample.names.size(); ++i)
    EXPECT_EQ(content(original->at(i)), content(saved->at(i)));
  for (const char *file : {"again.vorn", "t.vorn"}) { // one that it is a map of
    EXPECT_EQ(sample.save(*saved, file), whole.size());
    EXPECT_EQ(folder.read(file), whole);
  }
}

TEST_F(saved_test, leaves_what_was_there_when_it_cannot_write) {
  const auto from = sample.loaded("t.vorn");
  ASSERT_TRUE(std::filesystem::create_directory(folder.path("folder.vorn")));
  EXPECT_THROW(sample.save(*from, "folder.vorn"), error);
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit small = {whole.size() / 2, RLIM_INFINITY}, usual = {RLIM_INFINITY, RLIM_INFINITY};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_THROW(sample.save(*from, "t.vorn"), error);
  setrlimit(RLIMIT_FSIZE, &usual);
  EXPECT_EQ(folder.read("t.vorn"), whole);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 3) << "something is left";
}

TEST_F(saved_test, notices_a_change_of_its_file) {
  const saved_table opened(ctx, std::filesystem::path(folder.path("t.vorn")));
  sample.save(*sample.loaded("t.vorn"), "t.vorn"); // another file of this name
  EXPECT_NO_THROW(opened.require_unchanged());
  const saved_table again(ctx, std::filesystem::path(folder.path("t.vorn")));
  EXPECT_NO_THROW(again.require_unchanged());
  folder.write("t.vorn", whole.substr(1));
  EXPECT_THROW(again.require_unchanged(), error);
}

TEST_F(saved_test, refuses_what_is_foreign_or_damaged) {
  for (const std::string foreign : {"", "PAR1", "a,b\n1,2\n", "\x93vorn\n\x1a", "\x93vorn\r\n\x1a"})
    EXPECT_EQ(content(foreign), "") << foreign;
  ASSERT_EQ(mkfifo(folder.path("pipe.vorn").c_str(), 0600), 0);
  for (const char *name : {"", "missing.vorn", "pipe.vorn", "t.parquet"})
    EXPECT_THROW(saved_table(ctx, std::filesystem::path(folder.path(name))), error) << name;
  std::mt19937 random(7);
  for (int round = 0; round < 1500; ++round) {
    if (!turns.takes_case())
      continue;
    std::string bytes = whole;
    char &damaged = bytes[random() % bytes.size()];
    damaged = static_cast<char>(damaged ^ static_cast<char>(1U << random() % 8));
    EXPECT_THAT(content(bytes), testing::AnyOf("", content(whole))); // the bytes after the sections are not read
    EXPECT_EQ(content(bytes.substr(0, random() % bytes.size())), "");
  }
}

// Files whose checksums are right, so that every other check has to hold: they lie in each number of the header, the
// section table, the catalogue and the segments, end early and say so, or have other bytes anywhere.
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
    if (!turns.takes_case())
      continue;
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
           " it has keys beyond its range", " it has codes or values beyond the range of the column or of a segment"}));
}

} // namespace
