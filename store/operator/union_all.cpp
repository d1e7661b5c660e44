// The rows of one child, then the rows of another.
//
// A column with the same dictionary on both sides stays codes.  Otherwise both sides are decoded.
#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "store/operator/operators.hpp"

namespace store::exec {

namespace {

representation plain_form(const layout &of) {
  return of.form == representation::codes ? plain_representation(of.held()) : of.form;
}

layout united(const layout &a, const layout &b) {
  layout out{.type = a.type, .form = a.form};
  out.has_nulls = a.has_nulls || b.has_nulls;
  if (a.bounds && b.bounds)
    out.bounds = {std::min(a.bounds->low, b.bounds->low), std::max(a.bounds->high, b.bounds->high)};
  if (a.form == representation::codes && b.form == representation::codes && a.entries == b.entries) {
    out.entries = a.entries;
    out.distinct = a.distinct;
    return out;
  }
  if (a.distinct && b.distinct)
    out.distinct = *a.distinct + *b.distinct;
  // If a type has two representations, they are the narrow and the wide form of numbers.
  out.form = plain_form(a) == plain_form(b) ? plain_form(a) : representation::int128;
  return out;
}

vector converted(const vector &from, const layout &of, representation form, arena &memory) {
  const vector plain = form == representation::codes ? from : plain_values(from, of, memory);
  if (plain.form == form)
    return plain;
  const std::span<__int128> wide = memory.take<__int128>(plain.rows);
  std::copy_n(plain.int64s().begin(), plain.rows, wide.begin());
  return vector(wide, plain.validity);
}

class union_stream final : public stream {
public:
  union_stream(relation &first, relation &second, const std::vector<layout> &columns, const column_mask &needed,
               operator_metrics *counted, const query_run &run, arena &memory)
      : stream(counted), first_{first}, second_{second}, columns_(columns), needed_(needed), run_(run),
        memory_(memory) {}

private:
  struct side {
    relation &of;
    std::unique_ptr<stream> rows = {}; // from its first morsel on; a side without morsels may have no stream
  };

  void produce(size_t morsel, const chunk_taker &take) override {
    const size_t morsels_of_first = first_.of.morsels();
    const bool is_first = morsel < morsels_of_first;
    side &from = is_first ? first_ : second_;
    if (!from.rows)
      from.rows = from.of.begin(run_, memory_);
    from.rows->give(is_first ? morsel : morsel - morsels_of_first, [&](chunk &in) {
      chunk out = in;
      out.drop_columns();
      for (size_t c = 0; c < columns_.size(); ++c) {
        const layout &below = from.of.columns()[c];
        if (!needed_[c])
          out.add_missing_column();
        else if (below.form == columns_[c].form)
          out.add_column_of(in, c);
        else
          out.add_column(converted(in.column(c), below, columns_[c].form, in.memory()));
      }
      take(out);
    });
  }

  side first_;
  side second_;
  const std::vector<layout> &columns_;
  const column_mask &needed_;
  const query_run &run_;
  arena &memory_;
};

class union_all final : public relation {
public:
  union_all(relation_ptr first, relation_ptr second, column_mask needed)
      : relation("union all"), first_(std::move(first)), second_(std::move(second)), needed_(std::move(needed)) {
    for (size_t c = 0; c < first_->columns().size(); ++c)
      columns_.push_back(needed_[c] ? united(first_->columns()[c], second_->columns()[c]) : first_->columns()[c]);
  }

  double estimated_rows() const override { return first_->estimated_rows() + second_->estimated_rows(); }
  std::vector<const relation *> children() const override { return {first_.get(), second_.get()}; }
  size_t morsels() const override { return first_->morsels() + second_->morsels(); }

private:
  void prepare(const query_run &run) override {
    first_->open(run, filters_of(*first_));
    second_->open(run, filters_of(*second_));
  }
  // A filter is one of the values as they lie in a column, so it fits a child whose column lies in the same way.
  std::vector<column_filter> filters_of(const relation &child) const {
    std::vector<column_filter> out;
    for (const column_filter &f : filters())
      if (child.columns()[f.column].form == columns_[f.column].form &&
          child.columns()[f.column].entries == columns_[f.column].entries)
        out.push_back(f);
    return out;
  }
  std::unique_ptr<stream> made_stream(const query_run &run, arena &memory) override {
    return std::make_unique<union_stream>(*first_, *second_, columns_, needed_, counted(run), run, memory);
  }

  relation_ptr first_;
  relation_ptr second_;
  column_mask needed_;
};

} // namespace

relation_ptr make_union_all(relation_ptr first, relation_ptr second, const column_mask &needed) {
  return std::make_unique<union_all>(std::move(first), std::move(second), needed);
}

} // namespace store::exec
