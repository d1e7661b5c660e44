// Each call of the system for files fails in turn, and a save is cut off after each of its writes.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "store/error.hpp"
#include "tests/anomaly/anomaly_tables.hpp"
#include "tests/anomaly/failures.hpp"
#include "tests/store/saved_sample.hpp"

namespace {

using namespace vorn_test;

constexpr anomaly of_files[] = {anomaly::input_output, anomaly::full_disk, anomaly::interrupted, anomaly::short_count};

class files : public testing::Test {
protected:
  anomaly_tables tables;
};

TEST_F(files, that_are_saved_or_written) {
  walk(
      "save", of_files, [&] { return tables.saved(); }, [&] { tables.judge_saved(); });
  for (const char *name : {"x.csv", "x.json", "x.arrow", "x.parquet"})
    walk(
        name, of_files, [&] { return tables.written(name); }, [&] { tables.judge_written(name); });
}

TEST_F(files, that_are_read) {
  static_cast<void>(tables.saved());
  walk("open", of_files, [&] { return tables.opened(); });
  tables.folder.write("towns.csv", "town,people\nAdorf,120\nBdorf,\n");
  for (const char *name : {"other.parquet", "towns.csv"})
    walk(fmt::format("loading of {}", name), of_files, [&] { return tables.loaded(name); });
}

// The power goes: the disk has the first writes of a save, and a part of the last one, or lacks one of them.  Whatever
// the name of the file leads to is the old table, the new table, or is refused.
TEST_F(files, of_which_the_disk_has_a_part) {
  std::vector<std::pair<uint64_t, std::string>> writes;
  bool has_name = false;
  const write_observer observer{[&](uint64_t at, std::span<const uint8_t> bytes) {
                                  EXPECT_FALSE(has_name) << "a write after the file has its name";
                                  writes.emplace_back(at, std::string(bytes.begin(), bytes.end()));
                                },
                                [&] { has_name = true; }};
  observe_writes(&observer);
  static_cast<void>(tables.saved());
  observe_writes(nullptr);
  ASSERT_TRUE(has_name);
  ASSERT_GT(writes.size(), 10U);

  const std::string whole = content_of(tables.ctx, tables.new_table());
  const auto read = [&](const std::string &disk) {
    try {
      return content_of(tables.ctx, disk);
    } catch (const store::error &) {
      return std::string("refused");
    }
  };
  const auto put = [](std::string &disk, uint64_t at, std::string_view bytes) {
    if (bytes.empty())
      return;
    disk.resize(std::max(disk.size(), at + bytes.size()), '\0');
    disk.replace(at, bytes.size(), bytes);
  };
  size_t refused = 0;
  for (const std::string &before : {std::string(), std::string(tables.new_table().size(), '\xff')}) {
    std::string disk = before;
    for (const auto &[at, bytes] : writes) {
      for (const size_t torn : {size_t{0}, size_t{1}, bytes.size() / 2, bytes.size() - 1}) {
        std::string cut = disk;
        put(cut, at, std::string_view(bytes).substr(0, torn));
        const std::string found = read(cut);
        EXPECT_TRUE(found == "refused" || found == whole) << "after " << torn << " bytes at " << at;
        refused += found == "refused" ? 1 : 0;
      }
      put(disk, at, bytes);
    }
    EXPECT_EQ(read(disk), before.empty() ? whole : read(disk));
  }
  for (size_t lost = 0; lost < writes.size(); ++lost) {
    std::string disk;
    for (size_t i = 0; i < writes.size(); ++i)
      if (i != lost)
        put(disk, writes[i].first, writes[i].second);
    const std::string found = read(disk);
    EXPECT_TRUE(found == "refused" || found == whole) << "without the write at " << writes[lost].first;
  }
  EXPECT_GT(refused, writes.size());
}

} // namespace
