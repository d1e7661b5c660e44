// The rows of a table on which a condition is true.
#pragma once

#include <optional>
#include <span>
#include <utility>

#include "store/decode/row_source.hpp"
#include "store/query/selection.hpp"

namespace store {

class selected_scan final : public row_source {
public:
  // Context and columns, of which there is at least one, outlive this.  Without a selection all rows are given.
  selected_scan(const vorn_ctx &ctx, std::span<const column *const> columns, std::optional<selection> chosen)
      : selected(std::move(chosen)), scan(ctx, columns, selected ? &*selected : nullptr) {}

  selected_scan(const selected_scan &) = delete;

  uint64_t next() override { return scan.next(); }
  row_block rows() const override { return scan.rows(); }

private:
  std::optional<selection> selected;
  table_scan scan;
};

} // namespace store
