#include "store/saved/saved_tables.hpp"

#include <algorithm>
#include <numeric>

#include <fmt/format.h>

#include "store/chunk/stored_values.hpp"
#include "store/encode/column_builder.hpp"
#include "store/error.hpp"
#include "store/operator/column_reader.hpp"

namespace store {

saved_tables::saved_tables(const vorn_ctx &library, std::span<const std::filesystem::path> files) : library_(library) {
  for (const std::filesystem::path &file : files) {
    if (file.extension() != saved_table::ending)
      throw error("the files are not of one kind");
    parts_.push_back(std::make_unique<saved_table>(library, file));
    row_count += parts_.back()->rows();
    const std::vector<column_info> &columns = parts_.back()->columns();
    const auto &first = parts_.front()->columns();
    if (!std::equal(columns.begin(), columns.end(), first.begin(), first.end(),
                    [](const auto &a, const auto &b) { return a.name == b.name && a.sql_type == b.sql_type; }))
      throw error(fmt::format("the columns of {} are not those of {}", shortened(file.string()),
                              shortened(files.front().string())));
  }
  stem = parts_.front()->name();
  infos = parts_.front()->columns();
}

void saved_tables::check_encoding(const column_info &info, const encoding_choice &choice) const {
  store::check_encoding(info, choice);
}

void saved_tables::require_unchanged() const {
  for (const std::unique_ptr<saved_table> &part : parts_)
    part->require_unchanged();
}

column saved_tables::load(const column_info &info, const encoding_choice &choice,
                          const std::function<void(uint64_t)> &progress) const {
  column_builder building(info, choice);
  uint64_t done = 0;
  exec::arena memory;
  for (const std::unique_ptr<saved_table> &part : parts_) {
    exec::table table(part->name(), {info}, part->rows(), [&](size_t) {
      return std::make_shared<const column>(part->load(part->find(info.name), {}, [](uint64_t) {}));
    });
    const exec::layout layout = exec::layout_of(table, 0);
    const exec::stored_column stored = exec::stored_column_of(table, 0);
    exec::row_group_source rows(library_, std::span(&stored, 1));
    for (size_t group = 0; group < stored.stored->batches.size(); ++group) {
      rows.go_to(group);
      const uint32_t group_rows = stored.stored->batches[group].rows;
      for (uint32_t first = 0; first < group_rows; first += exec::chunk_rows) {
        memory.rewind({});
        const std::span<uint32_t> positions =
            memory.take<uint32_t>(std::min<uint32_t>(exec::chunk_rows, group_rows - first));
        std::iota(positions.begin(), positions.end(), first);
        exec::vector values = exec::plain_values(rows.read(0, positions, memory), layout, memory);
        exec::append(building, values, layout.held());
        progress(done += positions.size());
      }
    }
  }
  return building.finish();
}

} // namespace store
