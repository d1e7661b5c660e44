// The joined rows on which a condition is true.
#pragma once

#include <memory>
#include <span>
#include <utility>

#include "store/join/join_query.hpp"

namespace store {

// A join with the query that it refers to.
class joined_rows final : public row_source {
public:
  // Context and columns outlive this.
  joined_rows(const vorn_ctx &ctx, join_query asked, std::span<const output_column> columns,
              const join_settings &settings)
      : query(std::move(asked)), join(query.run(ctx, columns, settings)) {}

  joined_rows(const joined_rows &) = delete;

  uint64_t next() override { return join->next(); }
  row_block rows() const override { return join->rows(); }

private:
  join_query query;
  std::unique_ptr<hash_join> join;
};

} // namespace store
