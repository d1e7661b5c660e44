#include "store/operator/aggregation.hpp"

#include <algorithm>
#include <cmath>

#include "store/evaluate/quotient.hpp"
#include "store/operator/integer_sum.hpp"

namespace store::exec {

namespace {

layout decoded(layout of) {
  if (of.form == representation::codes) {
    of.form = plain_representation(of.held());
    of.entries = nullptr;
  }
  return of;
}

accumulation accumulation_of(logical::aggregate_kind what) {
  switch (what) {
  case logical::aggregate_kind::count_rows:
  case logical::aggregate_kind::count:
    return accumulation::count;
  case logical::aggregate_kind::min:
    return accumulation::min;
  case logical::aggregate_kind::max:
    return accumulation::max;
  case logical::aggregate_kind::first:
    return accumulation::first;
  default:
    return accumulation::sum;
  }
}

template <class Out, class Divide>
vector divided(std::span<const int64_t> counts, arena &memory, const Divide &divide) {
  const std::span<Out> out = memory.take<Out>(counts.size());
  for (size_t g = 0; g < counts.size(); ++g)
    out[g] = counts[g] == 0 ? Out{} : divide(g);
  return vector(out);
}

// The sums divided by the counts, truncated to an integer for points in time.
vector averages(const vector &sums, std::span<const int64_t> counts, const layout &values, arena &memory) {
  return with_type(sums.form, [&]<class T>(T) -> vector {
    if constexpr (std::is_same_v<T, std::string_view> || std::is_same_v<T, uint32_t>) {
      return {};
    } else {
      const std::span<const T> from = sums.values<T>();
      if constexpr (!std::is_same_v<T, double>)
        if (!values.held().is_numeric())
          return divided<int64_t>(counts, memory, [&](size_t g) { return static_cast<int64_t>(from[g] / counts[g]); });
      const long double scale = std::pow(10.0, values.held().scale);
      return divided<double>(counts, memory, [&](size_t g) { return quotient(from[g], counts[g], scale); });
    }
  });
}

} // namespace

size_t aggregation::input(const aggregate_input &wanted) {
  const auto found = std::find(inputs_.begin(), inputs_.end(), wanted);
  if (found == inputs_.end())
    inputs_.push_back(wanted);
  return static_cast<size_t>(std::find(inputs_.begin(), inputs_.end(), wanted) - inputs_.begin());
}

size_t aggregation::accumulator(accumulation what, const aggregate_input &of, const logical::sql_type &type) {
  const size_t from = input(of);
  for (size_t a = 0; a < accumulators_.size(); ++a)
    if (accumulators_[a].what == what && accumulators_[a].input == from)
      return a;
  layout values;
  if (of.column)
    values = of.is_decoded ? decoded(columns_[*of.column]) : columns_[*of.column];
  accumulators_.push_back({what, from, values, accumulated_layout(what, type, values)});
  return accumulators_.size() - 1;
}

layout aggregation::add(const logical::aggregate &what, std::optional<size_t> argument, std::optional<size_t> condition,
                        bool has_rows) {
  const accumulation kind = accumulation_of(what.what);
  const bool is_average = what.what == logical::aggregate_kind::average;
  const bool is_real = argument && decoded(columns_[*argument]).form == representation::float64;
  aggregate_input from{argument, condition};
  // DISTINCT does not change the least, the greatest and the first value.
  from.is_distinct = what.is_distinct && (kind == accumulation::sum || kind == accumulation::count);
  from.keeps_nulls = kind == accumulation::first;
  from.is_decoded = kind == accumulation::sum && columns_[*argument].form == representation::codes &&
                    !can_sum_codes(columns_[*argument]);
  const bool has_nulls = argument && columns_[*argument].has_nulls;
  aggregate_input counted = from;
  if (!from.is_distinct && !has_nulls)
    counted = {{}, condition};
  else if (!from.is_distinct && kind == accumulation::count)
    counted.is_decoded = false;

  aggregate_result result{what.what, 0, {}, argument ? columns_[*argument] : layout()};
  if (kind == accumulation::count) {
    result.accumulator = accumulator(kind, counted, what.type);
  } else {
    const logical::sql_type sum_type(is_real ? "DOUBLE" : "HUGEINT");
    result.accumulator = accumulator(kind, from, is_average ? sum_type : what.type);
    if (is_average || (kind != accumulation::first && (has_nulls || condition || !has_rows)))
      result.count = accumulator(accumulation::count, counted, logical::sql_type("BIGINT"));
  }
  results_.push_back(result);
  layout out = accumulators_[result.accumulator].result;
  out.type = what.type;
  if (is_average) {
    out.form = plain_representation(out.held());
    out.bounds.reset();
  }
  out.has_nulls = kind != accumulation::count && (has_nulls || condition || !has_rows);
  return out;
}

bool aggregation::is_ordered() const {
  return std::any_of(accumulators_.begin(), accumulators_.end(), [](const accumulator_of_input &a) {
    // A partial sum without bounds may overflow although the whole sum does not.
    return a.what == accumulation::first ||
           (a.what == accumulation::sum && (a.values.form == representation::float64 ||
                                            (a.values.form == representation::int128 && !a.values.bounds)));
  });
}

vector aggregation::result(size_t index, std::span<const vector> accumulated, arena &memory) const {
  const aggregate_result &of = results_[index];
  vector out = accumulated[of.accumulator];
  if (!of.count)
    return out;
  const std::span<const int64_t> counts = accumulated[*of.count].int64s();
  if (of.what == logical::aggregate_kind::average)
    out = averages(out, counts, of.values, memory);
  if (std::find(counts.begin(), counts.end(), 0) != counts.end()) {
    const std::span<uint64_t> validity = all_valid(memory, counts.size());
    for (size_t g = 0; g < counts.size(); ++g)
      if (counts[g] == 0)
        set_null(validity, g);
    out.validity = validity.data();
  }
  return out;
}

} // namespace store::exec
