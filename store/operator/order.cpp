// ORDER BY: all rows in an order, or the first rows.
//
// The keys of each row become words in the same order.  Row numbers are sorted by these words, and columns of the
// result are gathered when they are read.  With LIMIT, one comparison drops most rows before their other columns are
// read: their first word is compared with the largest first word of the rows that are kept.
#include <algorithm>
#include <memory>
#include <queue>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/chunk/kept_rows.hpp"
#include "store/operator/expression_columns.hpp"
#include "store/operator/operators.hpp"
#include "store/operator/row_sort.hpp"

namespace store::exec {

namespace {

constexpr size_t morsel_rows = 16 * chunk_rows;
// With a larger limit all rows are sorted.
constexpr uint64_t most_first_rows = uint64_t{1} << 17;

// The rows that are kept while an order is made: columns of the result, texts that are compared, and the words of keys.
struct ordered_columns {
  sort_keys keys;
  std::vector<layout> layouts;
  column_mask kept;
  size_t first_word = 0; // the column

  // The caller may give a last word that puts equal rows in the order of their positions.
  ordered_columns(const relation &rows, column_mask needed, std::span<const sort_column> by, bool has_position)
      : keys(rows.columns(), by), layouts(rows.columns()), kept(std::move(needed)), first_word(layouts.size()) {
    for (const sort_level &level : keys.levels())
      if (level.is_text)
        kept[level.index] = true;
    layouts.resize(layouts.size() + keys.words() + (has_position ? 1 : 0));
    kept.resize(layouts.size(), true);
  }

  static vector as_column(std::span<const uint64_t> word) {
    return vector(std::span(reinterpret_cast<const int64_t *>(word.data()), word.size()));
  }
  // The rows with their words as additional columns.
  chunk with_words(chunk &rows) const {
    std::vector<vector> words(keys.words());
    for (size_t w = 0; w < words.size(); ++w)
      words[w] = as_column(keys.word(w, rows));
    chunk out = rows;
    for (const vector &word : words)
      out.add_column(word);
    return out;
  }
  large_vector<uint32_t> sorted(const kept_rows &rows) const {
    std::vector<sort_level> levels = keys.levels();
    sort_values values;
    for (size_t column = 0; column < layouts.size(); ++column)
      if (column >= first_word) {
        const std::span<const int64_t> word = rows.values(column).int64s();
        values.words.emplace_back(reinterpret_cast<const uint64_t *>(word.data()), word.size());
      } else {
        values.texts.push_back(kept[column] ? rows.values(column) : vector());
      }
    if (values.words.size() > keys.words())
      levels.push_back({keys.words()});
    return sorted_rows(levels, values, rows.rows());
  }
};

// The rows of one thread that may be among the first ones.
class first_rows {
public:
  first_rows(const ordered_columns &columns, size_t limit)
      : columns_(columns), limit_(limit), takes_equal_(columns.keys.levels().size() > 1),
        rows_(columns.layouts, columns.kept) {}

  void add(size_t morsel, chunk &rows) {
    if (morsel != morsel_) {
      morsel_ = morsel;
      rows_of_morsel_ = 0;
    }
    const uint64_t position = morsel << 32 | rows_of_morsel_;
    rows_of_morsel_ += rows.rows();
    if (largest_.size() == limit_ && largest_.top() == 0 && !takes_equal_)
      return;
    const uint64_t bound = largest_.size() < limit_ ? ~uint64_t{0} : largest_.top() - (takes_equal_ ? 0 : 1);
    const std::span<const uint32_t> near = columns_.keys.not_above(bound, rows);
    if (near.empty())
      return;
    if (near.size() != rows.rows())
      rows.keep(near);
    const std::span<const uint32_t> left = candidates(columns_.keys.word(0, rows), rows.memory());
    if (left.empty())
      return;
    const std::span<uint64_t> positions = rows.memory().take<uint64_t>(left.size());
    for (size_t i = 0; i < left.size(); ++i)
      positions[i] = position + near[left[i]];
    if (left.size() != rows.rows())
      rows.keep(left);
    chunk kept = columns_.with_words(rows);
    kept.add_column(ordered_columns::as_column(positions));
    rows_.append(kept);
    if (rows_.rows() >= 2 * limit_ + size_t{4} * chunk_rows)
      drop_last();
  }

  const kept_rows &rows() const { return rows_; }

private:
  // The rows whose first word does not exclude them from the first rows.
  std::span<const uint32_t> candidates(std::span<const uint64_t> words, arena &memory) {
    const std::span<uint32_t> out = memory.take<uint32_t>(words.size());
    size_t left = 0;
    for (size_t row = 0; row < words.size(); ++row) {
      const uint64_t word = words[row];
      if (largest_.size() < limit_) {
        largest_.push(word);
      } else if (word < largest_.top()) {
        largest_.pop();
        largest_.push(word);
      } else if (word > largest_.top() || !takes_equal_) {
        continue;
      }
      out[left++] = static_cast<uint32_t>(row);
    }
    return out.first(left);
  }

  void drop_last() {
    const large_vector<uint32_t> order = columns_.sorted(rows_);
    kept_rows first(columns_.layouts, columns_.kept);
    arena memory;
    for (size_t c = 0; c < first.columns(); ++c)
      if (first.is_needed(c))
        first.column(c).append(gathered(rows_.values(c), std::span(order).first(limit_), memory));
    first.set_rows(limit_);
    rows_ = std::move(first);
  }

  const ordered_columns &columns_;
  size_t limit_;
  // A row that is equal in a single word stays after the rows before it.
  bool takes_equal_;
  kept_rows rows_;
  std::priority_queue<uint64_t> largest_; // the first words of the first rows
  size_t morsel_ = ~size_t{0};
  size_t rows_of_morsel_ = 0;
};

// Gives kept rows in another order.
class ordered_stream final : public stream, row_source {
public:
  ordered_stream(const kept_rows &rows, std::span<const uint32_t> order, size_t columns, operator_metrics *counted,
                 arena &memory)
      : stream(counted), rows_(rows), order_(order), columns_(columns), memory_(memory) {}

private:
  void produce(size_t morsel, const chunk_taker &take) override {
    const size_t end = std::min(order_.size(), (morsel + 1) * morsel_rows);
    for (size_t first = morsel * morsel_rows; first < end; first += chunk_rows) {
      const arena::mark begun = memory_.position();
      const size_t rows = std::min<size_t>(chunk_rows, end - first);
      chunk out(memory_, static_cast<uint32_t>(rows));
      const size_t source = out.add_source(*this, order_.subspan(first, rows));
      for (size_t c = 0; c < columns_; ++c)
        if (rows_.is_needed(c))
          out.add_column(source, c);
        else
          out.add_missing_column();
      take(out);
      memory_.rewind(begun);
    }
  }
  vector read(size_t column, std::span<const uint32_t> positions, arena &memory) override {
    return gathered(rows_.values(column), positions, memory);
  }

  const kept_rows &rows_;
  std::span<const uint32_t> order_;
  size_t columns_;
  arena &memory_;
};

class order final : public relation {
public:
  order(relation_ptr rows, std::vector<layout> columns, column_mask needed, std::vector<sort_column> by,
        std::optional<uint64_t> limit, uint64_t offset)
      : relation(limit ? "top n" : "order"), rows_(std::move(rows)), limit_(limit), offset_(offset),
        is_first_(limit && *limit <= most_first_rows && offset <= most_first_rows),
        kept_columns_(*rows_, std::move(needed), by, is_first_), kept_(kept_columns_.layouts, kept_columns_.kept) {
    columns_ = std::move(columns);
  }

  double estimated_rows() const override {
    return std::min(rows_->estimated_rows(), limit_ ? static_cast<double>(*limit_) : rows_->estimated_rows());
  }
  std::vector<const relation *> children() const override { return {rows_.get()}; }
  std::string description() const override {
    const size_t words = kept_columns_.keys.words();
    std::string out = fmt::format("{} {} of 64 bits", words, words == 1 ? "key" : "keys");
    if (limit_)
      out += fmt::format(", the first {}", *limit_);
    if (offset_ != 0)
      out += fmt::format(" after {}", offset_);
    return out;
  }
  size_t morsels() const override { return (shown().size() + morsel_rows - 1) / morsel_rows; }

private:
  void prepare(const query_run &run) override {
    rows_->open(run);
    kept_ = is_first_ ? first(run) : all(run);
    sorted_ = kept_columns_.sorted(kept_);
  }

  kept_rows all(const query_run &run) {
    row_collector collector(kept_columns_.layouts, kept_columns_.kept, run.threads.threads());
    run_all(*rows_, run, [&](size_t thread, size_t morsel, chunk &c) {
      chunk with_words = kept_columns_.with_words(c);
      collector.append(thread, morsel, with_words);
    });
    return collector.finish();
  }

  kept_rows first(const query_run &run) {
    kept_rows out(kept_columns_.layouts, kept_columns_.kept);
    if (*limit_ + offset_ == 0)
      return out;
    std::vector<first_rows> threads;
    for (size_t thread = 0; thread < run.threads.threads(); ++thread)
      threads.emplace_back(kept_columns_, *limit_ + offset_);
    run_all(*rows_, run, [&](size_t thread, size_t morsel, chunk &c) { threads[thread].add(morsel, c); });
    for (const first_rows &of_thread : threads)
      out.append(of_thread.rows(), 0, of_thread.rows().rows());
    return out;
  }

  std::span<const uint32_t> shown() const {
    const size_t skipped = std::min<size_t>(offset_, sorted_.size());
    const size_t left = sorted_.size() - skipped;
    return std::span(sorted_).subspan(skipped, limit_ ? std::min<size_t>(*limit_, left) : left);
  }

  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override {
    return std::make_unique<ordered_stream>(kept_, shown(), columns_.size(), counted(run), memory);
  }

  relation_ptr rows_;
  std::optional<uint64_t> limit_;
  uint64_t offset_;
  bool is_first_; // only the first rows are kept
  ordered_columns kept_columns_;
  kept_rows kept_;
  large_vector<uint32_t> sorted_;
};

} // namespace

relation_ptr make_order(const logical::plan &of, relation_ptr rows, const column_mask &needed,
                        scalar_functions &functions) {
  std::vector<layout> columns = rows->columns();
  expression_columns inputs(*rows);
  for (size_t column = 0; column < columns.size(); ++column)
    if (needed[column])
      inputs.need(column);
  std::vector<sort_column> by;
  for (const logical::sort_key &key : of.keys)
    by.push_back({inputs.add(key.by), key.is_descending, key.nulls_first});
  rows = inputs.finish(std::move(rows), functions);
  column_mask kept = needed;
  kept.resize(rows->columns().size(), false);
  return std::make_unique<order>(std::move(rows), std::move(columns), std::move(kept), std::move(by), of.limit,
                                 of.offset);
}

} // namespace store::exec
