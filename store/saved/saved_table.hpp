// A saved table as a source of columns, which lie where the file is mapped.
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

  // The list of the columns is checked here, and a column when it is loaded.  Throws store::error for what save has not
  // written, and for what has changed since.  The context, with which columns are checked, outlives this.
  saved_table(const vorn_ctx &ctx, const std::filesystem::path &path);
  // The same of bytes, perhaps packed, which are copied.  Messages call them by the name.
  saved_table(const vorn_ctx &ctx, std::span<const uint8_t> bytes, const std::string &name);

  void check_encoding(const column_info &info, const encoding_choice &choice) const override;

  // Of a text with a large dictionary the values are left out, since all of them would be read.
  std::optional<column> described(const column_info &info) const override;

  // One of the columns of this.  It takes no copy of the file, and may outlive this.
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
  // Without values and batches.
  column read_form(size_t index) const;
  column read_column(size_t index) const;
  void read_values(size_t index, column &out) const;
  // The rows and zones of the batches.
  void read_zones(column &out, std::span<const saved::batch_record> described) const;
  void read_batches(size_t index, column &out) const;
  stored_array<saved::batch_record> batch_records(size_t index) const;

  // A part of a column, or the catalogue, whose checksum is right.
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
