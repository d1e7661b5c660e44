// Several saved tables as one table, their rows one after the other.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "store/encode/table_source.hpp"
#include "store/saved/saved_table.hpp"
#include <vorn/vorn.h>

namespace store {

class saved_tables final : public table_source {
public:
  // Throws store::error as saved_table does, and when the columns of the tables differ.  The context outlives this
  // object.
  saved_tables(const vorn_ctx &library, std::span<const std::filesystem::path> files);

  void check_encoding(const column_info &info, const encoding_choice &choice) const override;

  // The values of all tables, encoded again.
  column load(const column_info &info, const encoding_choice &choice,
              const std::function<void(uint64_t rows)> &progress) const override;

  void require_unchanged() const override;

private:
  const vorn_ctx &library_;
  std::vector<std::unique_ptr<saved_table>> parts_;
};

} // namespace store
