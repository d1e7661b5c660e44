// A saved table as a source of columns.  The columns refer to the mapped file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "store/encode/table_source.hpp"
#include "store/saved/format.hpp"
#include "store/saved/mapped_file.hpp"
#include <vorn/vorn.h>

namespace store {

class saved_table final : public table_source {
public:
  static constexpr const char *ending = ".vorn";

  // The constructor checks the list of the columns.  A column is checked when it is loaded.  Throws store::error for a
  // file that save did not write, and for a file that changed afterwards.  Columns are checked with the context.  The
  // context outlives this object.
  saved_table(const vorn_ctx &ctx, const std::filesystem::path &path);
  // The same for bytes, which may be compressed.  The constructor copies them.  Messages use the name for them.
  saved_table(const vorn_ctx &ctx, std::span<const uint8_t> bytes, const std::string &name);

  void check_encoding(const column_info &info, const encoding_choice &choice) const override;

  // The values of a text column with a large dictionary are left out, since all of them would be read.
  std::optional<column> described(const column_info &info) const override;

  // One of the columns.  It does not copy the file, and may outlive this object.
  column load(const column_info &info, const encoding_choice &choice,
              const std::function<void(uint64_t rows)> &progress) const override;

  void require_unchanged() const override;

private:
  saved_table(const vorn_ctx &ctx, saved::owned_bytes file, const std::filesystem::path &path);

  // Messages say which column is damaged.
  template <class Read>
  column column_read(const column_info &info, const Read &read) const;

  void read_header();
  void read_catalogue();
  // Without values and segments.
  column read_form(size_t index) const;
  column read_column(size_t index) const;
  void read_values(size_t index, column &out) const;
  // The rows and zones of the segments.
  void read_zones(column &out, std::span<const saved::segment_record> described) const;
  void read_segments(size_t index, column &out) const;
  stored_array<saved::segment_record> segment_records(size_t index) const;

  // A part of a column, or the catalogue, after its checksum was compared.
  std::span<const uint8_t> section_at(uint64_t index) const;
  std::span<const uint8_t> part_of(size_t index, saved::part which) const {
    return section_at(saved::section_index(index, which));
  }
  template <class Element>
  stored_array<Element> elements_of(size_t index, saved::part which) const;

  const vorn_ctx &ctx_;
  std::string file_name_;
  saved::owned_bytes file_;
  std::vector<saved::section> sections_;
  std::vector<saved::column_record> records_; // of the columns
};

} // namespace store
