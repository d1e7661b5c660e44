// The rows of a stored table: row groups are the morsels.
//
// Conditions over single columns run on the encoded form, and row groups that their zones settle are not read at all.
// What is left goes out in chunks, whose columns are read when somebody asks for them.
#include <algorithm>
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

// What the streams of a scan share.
struct scan_parts {
  std::shared_ptr<table> of;
  std::vector<stored_column> columns;
  std::optional<scan_condition> selected;
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
    columns_.go_to(morsel);
    const auto rows = static_cast<uint32_t>(std::min<uint64_t>(batch_rows, of_.of->rows() - morsel * batch_rows));
    scan_condition::selected chosen{nullptr, rows};
    if (of_.selected) {
      const bool is_skipped = of_.selected->covers(morsel) == ordinal_ranges::coverage::none;
      if (counted_ != nullptr)
        ++(is_skipped ? counted_->skipped : counted_->row_groups);
      if (is_skipped)
        return;
      chosen = of_.selected->select(library_, morsel, chosen, memory_);
    } else if (counted_ != nullptr) {
      ++counted_->row_groups;
    }
    give_rows(chosen, rows, take);
    memory_.rewind(begun);
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
  scan(std::shared_ptr<table> of, std::span<const size_t> columns, const column_mask &needed,
       std::span<const logical::expression> all_of, scalar_functions &functions)
      : relation("scan") {
    parts_.of = std::move(of);
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
  size_t morsels() const override { return static_cast<size_t>((parts_.of->rows() + batch_rows - 1) / batch_rows); }
  std::string description() const override {
    std::string out = parts_.of->name();
    if (parts_.selected)
      out += " where " + parts_.selected->description();
    for (size_t i = 0; i < parts_.of_rows.size(); ++i)
      out += fmt::format("{} {} by {}", i == 0 && !parts_.selected ? " where" : " and", texts_of_others_[i],
                         parts_.of_rows[i]->method());
    return out;
  }

private:
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
      estimated_rows_ = static_cast<double>(parts_.of->rows());
      if (selected.empty())
        return;
      parts_.selected = scan_condition::all_of(selected);
      estimated_rows_ *= parts_.selected->selectivity();
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
      if (parts_.selected)
        narrow(columns_.back(), stored, parts_.selected->accepted_of(stored));
      parts_.columns[index] = stored_column_of(*parts_.of, of_table);
      parts_.reads_columns = true;
      return;
    }
    layout unread{.type = logical::sql_type(parts_.of->columns()[of_table].sql_type)};
    if (unread.type.held)
      unread.form = plain_representation(*unread.type.held);
    columns_.push_back(std::move(unread));
  }

  void prepare(const query_run &) override {}
  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override {
    return std::make_unique<scan_stream>(parts_, run, counted(run), memory);
  }

  scan_parts parts_;
  std::vector<std::string> texts_of_others_;
  double estimated_rows_ = 0;
};

} // namespace

relation_ptr make_scan(std::shared_ptr<table> of, std::span<const size_t> columns, const column_mask &needed,
                       std::span<const logical::expression> all_of, scalar_functions &functions) {
  return std::make_unique<scan>(std::move(of), columns, needed, all_of, functions);
}

} // namespace store::exec
