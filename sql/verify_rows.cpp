#include "sql/verify_rows.hpp"

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <vector>

#include "sql/values.hpp"

namespace store {

namespace {

// Rows of a result, a piece at a time.
class expected_rows {
public:
  explicit expected_rows(duckdb::result rows) : source_(std::move(rows)) { advance(); }

  bool at_end() const { return !chunk_; }

  // How many of up to `wanted` rows can be compared before advance.
  uint64_t available(uint64_t wanted) const { return std::min(wanted, chunk_->rows() - done_); }

  bool equal(uint64_t index, value_kind kind, std::span<const cell> cells) const {
    const duckdb::vector values = chunk_->column(index);
    for (uint64_t i = 0; i < cells.size(); ++i)
      if (value_at(values, done_ + i, kind) != cells[i])
        return false;
    return true;
  }

  // The same of reals that may lie as far from the expected ones as another column says.  Counts those that differ.
  bool near(uint64_t index, uint64_t bound_index, std::span<const cell> cells, uint64_t &differing) const {
    const duckdb::vector values = chunk_->column(index);
    const duckdb::vector bounds = chunk_->column(bound_index);
    for (uint64_t i = 0; i < cells.size(); ++i) {
      const cell expected = value_at(values, done_ + i, value_kind::real);
      if (expected == cells[i])
        continue;
      const auto *real = std::get_if<int64_t>(&cells[i]);
      const auto *expected_real = std::get_if<int64_t>(&expected);
      if (real == nullptr || expected_real == nullptr || bounds.is_null(done_ + i))
        return false;
      if (!(std::abs(real_of_key(*real) - real_of_key(*expected_real)) <= bounds.number<double>(done_ + i)))
        return false;
      ++differing;
    }
    return true;
  }

  void advance(uint64_t rows) {
    done_ += rows;
    if (done_ == chunk_->rows())
      advance();
  }

private:
  void advance() {
    do
      chunk_ = source_.next();
    while (chunk_ && chunk_->rows() == 0);
    done_ = 0;
  }

  duckdb::result source_;
  std::optional<duckdb::chunk> chunk_;
  uint64_t done_ = 0; // rows of the chunk
};

} // namespace

std::vector<heading> headings_of(std::span<const column *const> columns) {
  std::vector<heading> out;
  for (const column *c : columns)
    out.push_back({c->name, c->type});
  return out;
}

verification verify_rows(const vorn_ctx &ctx, std::span<const column *const> columns, const selection *rows,
                         duckdb::result expected, uint64_t shown, const std::function<void(row_block)> &take) {
  const std::shared_ptr<const selection> not_owned(std::shared_ptr<void>(), rows);
  table_scan source(ctx, columns, not_owned);
  return verify_rows(source, headings_of(columns), std::move(expected), shown, take);
}

verification verify_rows(row_source &source, std::span<const heading> columns, std::optional<duckdb::result> expected,
                         uint64_t shown, const std::function<void(row_block)> &take) {
  verification out;
  std::optional<expected_rows> checker;
  if (expected)
    checker.emplace(std::move(*expected));
  while (const uint64_t step_rows = source.next()) {
    const row_block step = source.rows();
    if (out.count < shown) {
      const uint64_t wanted = std::min(step_rows, shown - out.count);
      std::vector<std::span<const cell>> block;
      block.reserve(step.size());
      for (const auto &cells : step)
        block.push_back(cells.first(wanted));
      take(block);
    }
    out.count += step_rows;
    for (uint64_t done = 0; checker && out.agree && done < step_rows;) {
      if (checker->at_end()) {
        out.agree = false;
        break;
      }
      const uint64_t compared = checker->available(step_rows - done);
      uint64_t bound_index = columns.size();
      for (size_t c = 0; c < columns.size() && out.agree; ++c) {
        const auto cells = step[c].subspan(done, compared);
        out.agree = columns[c].is_rounded ? checker->near(c, bound_index++, cells, out.rounded)
                                          : checker->equal(c, columns[c].type.kind, cells);
      }
      checker->advance(compared);
      done += compared;
    }
  }
  out.agree = out.agree && (!checker || checker->at_end());
  return out;
}

} // namespace store
