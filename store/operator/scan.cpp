// The rows of a stored table: row groups are the morsels.
//
// Conditions over single columns run on the encoded form, and row groups that their zones settle are not read at all.
// What is left goes out in chunks, whose columns are read when somebody asks for them.
#include <algorithm>
#include <atomic>
#include <bit>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/chunk/kept_rows.hpp"
#include "store/operator/column_reader.hpp"
#include "store/operator/operators.hpp"
#include "store/operator/scan_condition.hpp"

namespace store::exec {

namespace {

// A filter of keys of a column without codes: the values are read and looked up.
class key_test {
public:
  key_test(size_t column, std::shared_ptr<const key_filter> keys) : column_(column), keys_(std::move(keys)) {}

  size_t column() const { return column_; }
  const key_filter &keys() const { return *keys_; }

  // Is there a row in a row group that may pass?
  bool may_pass(const store::column &on, size_t row_group) const {
    const zone &held = on.batches[row_group].held;
    if (held.nulls != 0 && keys_->has_null())
      return true;
    return held.has_values() && keys_->contains_any(static_cast<int64_t>(number_of_ordinal(on, held.low)),
                                                    static_cast<int64_t>(number_of_ordinal(on, held.high)));
  }
  // Does it drop at least a third of the rows?  It is tried on the first rows.
  bool pays() const {
    constexpr uint64_t few = 2 * batch_rows;
    const uint64_t tested = tested_.load(std::memory_order_relaxed);
    return tested < few || 3 * passed_.load(std::memory_order_relaxed) < 2 * tested;
  }
  void count(uint64_t tested, uint64_t passed) {
    tested_.fetch_add(tested, std::memory_order_relaxed);
    passed_.fetch_add(passed, std::memory_order_relaxed);
  }

private:
  size_t column_;
  std::shared_ptr<const key_filter> keys_;
  std::atomic<uint64_t> tested_ = 0;
  std::atomic<uint64_t> passed_ = 0;
};

// What the streams of a scan share.
struct scan_parts {
  std::shared_ptr<table> of;
  size_t first = 0; // row group
  size_t end = 0;   // the row group after the last
  std::vector<stored_column> columns;
  std::optional<scan_condition> selected;                       // with the filters of keys of columns with codes
  std::vector<std::unique_ptr<key_test>> keys;                  // the most selective one first
  std::vector<std::shared_ptr<const bound_expression>> of_rows; // conditions that look at values
  bool reads_columns = false;
};

class scan_stream final : public stream {
public:
  scan_stream(const scan_parts &of, const query_run &run, operator_metrics *counted, arena &memory)
      : stream(counted), of_(of), library_(run.library), counted_(counted), memory_(memory),
        columns_(library_, of_.columns, counted), of_rows_(of_.of_rows) {}

private:
  void produce(size_t morsel, const chunk_taker &take) override {
    const arena::mark begun = memory_.here();
    const size_t row_group = of_.first + morsel;
    columns_.go_to(row_group);
    const auto rows = static_cast<uint32_t>(std::min<uint64_t>(batch_rows, of_.of->rows() - row_group * batch_rows));
    const bool is_skipped = !may_select(row_group);
    if (counted_ != nullptr)
      ++(is_skipped ? counted_->skipped : counted_->row_groups);
    if (is_skipped)
      return;
    scan_condition::selected chosen{nullptr, rows};
    if (of_.selected)
      chosen = of_.selected->select(library_, row_group, chosen, memory_);
    for (const std::unique_ptr<key_test> &test : of_.keys)
      if (chosen.count != 0 && test->pays())
        chosen = passing(*test, chosen, rows);
    give_rows(chosen, rows, take);
    memory_.rewind(begun);
  }

  // What the zones of a row group tell.
  bool may_select(size_t row_group) const {
    if (of_.selected && of_.selected->covers(row_group) == ordinal_ranges::coverage::none)
      return false;
    return std::all_of(of_.keys.begin(), of_.keys.end(), [&](const std::unique_ptr<key_test> &test) {
      return test->may_pass(*of_.columns[test->column()].stored, row_group);
    });
  }

  scan_condition::selected passing(key_test &test, const scan_condition::selected &among, uint32_t rows) {
    const std::span<uint64_t> out = memory_.take<uint64_t>(words_of(rows));
    const arena::mark begun = memory_.here();
    constexpr uint32_t sparse_one_in = 4; // fewer rows are read one by one
    if (among.words == nullptr || among.count > rows / sparse_one_in) {
      for (uint32_t first = 0; first < rows; first += chunk_rows) {
        const uint32_t some = std::min(chunk_rows, rows - first);
        test.keys().test(columns_.read(test.column(), consecutive(first, some, memory_), memory_), &out[first / 64]);
        memory_.rewind(begun);
      }
      for (size_t word = 0; among.words != nullptr && word < out.size(); ++word)
        out[word] &= among.words[word];
    } else {
      std::fill(out.begin(), out.end(), 0);
      vorn_lbiwv_ictx bits{};
      vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&bits, among.words, rows, 0, 0);
      for (uint32_t first = 0; first < among.count; first += chunk_rows) {
        const std::span<const uint32_t> positions = next_rows(bits, std::min(chunk_rows, among.count - first));
        const std::span<uint64_t> passed = memory_.take<uint64_t>(words_of(positions.size()));
        test.keys().test(columns_.read(test.column(), positions, memory_), passed.data());
        for (size_t i = 0; i < positions.size(); ++i)
          out[positions[i] / 64] |= (passed[i / 64] >> (i % 64) & 1) << (positions[i] % 64);
        memory_.rewind(begun);
      }
    }
    uint32_t count = 0;
    for (const uint64_t word : out)
      count += static_cast<uint32_t>(std::popcount(word));
    test.count(among.count, count);
    return {out.data(), count};
  }

  void give_rows(const scan_condition::selected &chosen, uint32_t rows, const chunk_taker &take) {
    vorn_lbiwv_ictx bits{};
    if (chosen.words != nullptr)
      vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&bits, chosen.words, rows, 0, 0);
    for (uint32_t first = 0; first < chosen.count; first += chunk_rows) {
      const arena::mark begun = memory_.here();
      const uint32_t count = std::min(chunk_rows, chosen.count - first);
      chunk out(memory_, count);
      if (of_.reads_columns)
        add_columns(out, chosen.words != nullptr ? next_rows(bits, count) : consecutive(first, count, memory_));
      else
        for (size_t c = 0; c < of_.columns.size(); ++c)
          out.add_missing_column();
      if (of_.of_rows.empty() || of_rows_.keep(out))
        take(out);
      memory_.rewind(begun);
    }
  }

  std::span<const uint32_t> next_rows(vorn_lbiwv_ictx &bits, uint32_t count) {
    const std::span<uint32_t> out = memory_.take<uint32_t>(count);
    vorn_global_ctx.vorn_lbiwvones_dydi(&bits, out.data(), count);
    return out;
  }

  void add_columns(chunk &out, std::span<const uint32_t> positions) {
    columns_.announce(positions, memory_);
    const size_t source = out.add_source(columns_, positions);
    for (size_t c = 0; c < of_.columns.size(); ++c)
      if (of_.columns[c].stored != nullptr)
        out.add_column(source, c);
      else
        out.add_missing_column();
  }

  const scan_parts &of_;
  const vorn_ctx &library_;
  operator_metrics *counted_;
  arena &memory_;
  row_group_source columns_;
  row_condition of_rows_;
};

class scan final : public relation {
public:
  scan(table_part of, std::span<const size_t> columns, const column_mask &needed,
       std::span<const logical::expression> all_of, scalar_functions &functions)
      : relation("scan") {
    parts_.of = std::move(of.of);
    parts_.end = std::min<uint64_t>(of.end, (parts_.of->rows() + batch_rows - 1) / batch_rows);
    parts_.first = std::min(of.first, parts_.end);
    parts_.columns.resize(columns.size());
    std::vector<const logical::expression *> others;
    read_conditions(columns, all_of, functions, others);

    column_mask is_read = needed;
    for (const logical::expression *condition : others)
      for_each_column(*condition, [&](size_t index) { is_read[index] = true; });
    for (size_t c = 0; c < columns.size(); ++c)
      add_column(c, columns[c], is_read[c]);
    for (const logical::expression *condition : others) {
      parts_.of_rows.push_back(exec::bind(*condition, columns_, functions, estimated_rows_));
      estimated_rows_ *= selectivity_of_other;
    }
  }

  double estimated_rows() const override { return estimated_rows_; }
  size_t morsels() const override { return parts_.end - parts_.first; }
  std::string description() const override {
    std::string out = parts_.of->name();
    std::string_view word = " where ";
    const auto add = [&](std::string_view condition) {
      out.append(word).append(condition);
      word = " and ";
    };
    if (const auto &selected = parts_.selected ? parts_.selected : selected_)
      add(selected->description());
    for (const std::unique_ptr<key_test> &test : parts_.keys)
      add(fmt::format("{} is one of {} keys", parts_.columns[test->column()].stored->name, test->keys().size()));
    for (size_t i = 0; i < parts_.of_rows.size(); ++i)
      add(fmt::format("{} by {}", texts_of_others_[i], parts_.of_rows[i]->method()));
    return out;
  }

private:
  uint64_t rows() const {
    return std::min<uint64_t>(parts_.of->rows(), parts_.end * batch_rows) - parts_.first * batch_rows;
  }

  static constexpr double selectivity_of_other = 0.25; // of a condition about which nothing is known

  // Comparisons with constants first: they tell how many rows are left for the others, and so whether it pays to
  // evaluate these for each code of a dictionary.
  void read_conditions(std::span<const size_t> columns, std::span<const logical::expression> all_of,
                       scalar_functions &functions, std::vector<const logical::expression *> &others) {
    std::vector<scan_condition> selected;
    const auto read = [&](const logical::expression &condition, double most_codes) {
      auto made = scan_condition::read(condition, *parts_.of, columns, functions, most_codes);
      if (made)
        selected.push_back(std::move(*made));
      return made.has_value();
    };
    const auto combine = [&] {
      estimated_rows_ = static_cast<double>(rows());
      if (selected.empty())
        return;
      selected_ = scan_condition::all_of(selected);
      estimated_rows_ *= selected_->selectivity();
    };
    for (const logical::expression &condition : all_of)
      if (!read(condition, 0))
        others.push_back(&condition);
    combine();
    // The values of a dictionary lie in order, so each is cheaper to ask than the value of a row.
    constexpr double few_codes = 4096;
    std::erase_if(others, [&](const logical::expression *condition) {
      return read(*condition, std::max(few_codes, estimated_rows_));
    });
    combine();
    for (const logical::expression *condition : others)
      texts_of_others_.push_back(condition->sql);
  }

  void add_column(size_t index, size_t of_table, bool is_read) {
    if (is_read) {
      const store::column &stored = parts_.of->at(of_table);
      columns_.push_back(layout_of(*parts_.of, of_table));
      if (selected_)
        narrow(columns_.back(), stored, selected_->accepted_of(stored));
      parts_.columns[index] = stored_column_of(*parts_.of, of_table);
      parts_.reads_columns = true;
      return;
    }
    layout unread{.type = logical::sql_type(parts_.of->columns()[of_table].sql_type)};
    if (unread.type.held)
      unread.form = plain_representation(*unread.type.held);
    columns_.push_back(std::move(unread));
  }

  void prepare(const query_run &) override {
    parts_.keys.clear();
    std::vector<scan_condition> selected;
    if (selected_)
      selected.push_back(*selected_);
    for (const column_filter &f : filters()) {
      const store::column *const stored = parts_.columns[f.column].stored;
      if (stored != nullptr && columns_[f.column].form == representation::codes) {
        ordinal_ranges accepted = f.keys->ordinals();
        if (f.keys->has_null() && stored->has_nulls())
          accepted = accepted.united_with(ordinal_ranges(0, 0));
        selected.push_back(scan_condition::among(*stored, std::move(accepted)));
      } else if (stored != nullptr && columns_[f.column].form == representation::int64) {
        parts_.keys.push_back(std::make_unique<key_test>(f.column, f.keys));
      }
    }
    std::stable_sort(parts_.keys.begin(), parts_.keys.end(), [&](const auto &a, const auto &b) {
      const auto share = [&](const key_test &test) {
        return static_cast<double>(test.keys().size()) /
               static_cast<double>(columns_[test.column()].distinct.value_or(rows()));
      };
      return share(*a) < share(*b);
    });
    parts_.selected.reset();
    if (!selected.empty())
      parts_.selected = scan_condition::all_of(std::move(selected));
  }
  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override {
    return std::make_unique<scan_stream>(parts_, run, counted(run), memory);
  }

  scan_parts parts_;
  std::optional<scan_condition> selected_; // the conditions alone
  std::vector<std::string> texts_of_others_;
  double estimated_rows_ = 0;
};

} // namespace

relation_ptr make_scan(table_part of, std::span<const size_t> columns, const column_mask &needed,
                       std::span<const logical::expression> all_of, scalar_functions &functions) {
  return std::make_unique<scan>(std::move(of), columns, needed, all_of, functions);
}

} // namespace store::exec
