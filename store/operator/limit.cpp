// LIMIT without ORDER BY: some rows of the child, in the order of the child.
//
// The first morsels of the child are run until there are enough rows.  A morsel ends when it has given enough rows.
#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/operator/kept_stream.hpp"
#include "store/operator/operators.hpp"

namespace store::exec {

namespace {

class limit final : public relation {
public:
  limit(const logical::plan &of, relation_ptr rows, column_mask needed)
      : relation("limit"), rows_(std::move(rows)), needed_(std::move(needed)), limit_(of.limit), percent_(of.percent),
        offset_(of.offset) {
    columns_ = rows_->columns();
  }

  double estimated_rows() const override {
    const double left = std::max(0.0, rows_->estimated_rows() - static_cast<double>(offset_));
    return limit_ ? std::min(left, static_cast<double>(*limit_)) : left;
  }
  std::vector<const relation *> children() const override { return {rows_.get()}; }
  std::string description() const override {
    const std::string first = percent_ ? fmt::format("{} % of the rows", *percent_)
                              : limit_ ? fmt::format("{} rows", *limit_)
                                       : "all rows";
    return offset_ == 0 ? first : fmt::format("{} after {}", first, offset_);
  }
  size_t morsels() const override { return kept_stream::morsels(kept_->rows()); }

private:
  struct enough {}; // ends a morsel

  uint64_t wanted() const { return !limit_ || *limit_ > ~uint64_t{0} - offset_ ? ~uint64_t{0} : *limit_ + offset_; }

  void prepare(const query_run &run) override {
    rows_->open(run);
    const size_t threads = run.threads.threads();
    std::vector<std::unique_ptr<stream>> streams(threads);
    kept_rows found(columns_, needed_);
    // One morsel is often enough.  If not, more and more morsels are run at once.
    size_t at_once = 1;
    for (size_t begun = 0; begun < rows_->morsels() && found.rows() < wanted();) {
      const size_t some = std::min(at_once, rows_->morsels() - begun);
      row_collector collected(columns_, needed_, threads);
      const uint64_t missing = wanted() - found.rows();
      operator_metrics *const above = metrics_timer::in();
      run.threads.run(some, [&](size_t thread, size_t item) {
        if (run.is_interrupted)
          throw interrupted();
        const metrics_timer timer(above);
        run_morsel(run, streams[thread], thread, begun + item, missing, collected);
      });
      const kept_rows of_morsels = collected.finish();
      found.append(of_morsels, 0, static_cast<size_t>(std::min<uint64_t>(of_morsels.rows(), missing)));
      begun += some;
      at_once = std::max(threads, 2 * at_once);
    }
    if (percent_)
      limit_ = static_cast<uint64_t>(*percent_ / 100 * static_cast<double>(found.rows()));
    if (offset_ == 0 && !percent_) {
      kept_ = std::move(found);
      return;
    }
    kept_.emplace(columns_, needed_);
    const auto dropped = static_cast<size_t>(std::min<uint64_t>(offset_, found.rows()));
    kept_->append(found, dropped, std::min<uint64_t>(found.rows() - dropped, limit_.value_or(~uint64_t{0})));
  }

  void run_morsel(const query_run &run, std::unique_ptr<stream> &rows, size_t thread, size_t morsel, uint64_t missing,
                  row_collector &into) {
    arena &memory = run.memory[thread];
    const arena::mark begun = memory.position();
    if (!rows)
      rows = rows_->begin(run, memory);
    uint64_t given = 0;
    try {
      rows->give(morsel, [&](chunk &c) {
        if (given >= missing) // also where no row is wanted
          throw enough();
        into.append(thread, morsel, c);
        given += c.rows();
        if (given >= missing)
          throw enough();
      });
    } catch (const enough &) {
      rows = nullptr; // the stream is in the middle of a morsel
    }
    memory.rewind(begun);
  }

  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override {
    return std::make_unique<kept_stream>(*kept_, counted(run), memory);
  }

  relation_ptr rows_;
  column_mask needed_;
  std::optional<uint64_t> limit_; // with a percentage: known after all rows
  std::optional<double> percent_;
  uint64_t offset_;
  std::optional<kept_rows> kept_;
};

} // namespace

relation_ptr make_limit(const logical::plan &of, relation_ptr rows, const column_mask &needed) {
  return std::make_unique<limit>(of, std::move(rows), needed);
}

} // namespace store::exec
