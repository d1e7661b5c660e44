#include "store/evaluate/by_code.hpp"

#include <algorithm>
#include <numeric>
#include <string>
#include <unordered_map>

#include "store/error.hpp"

namespace store::exec {

namespace {

// The results for a range of values, and for NULL after them.
template <class T>
struct result_table {
  std::vector<T> values;
  std::vector<uint8_t> nulls; // 1 if the result is NULL

  void add(const vector &some) {
    for (size_t row = 0; row < some.rows; ++row) {
      values.push_back(some.values<T>()[row]);
      nulls.push_back(some.is_null(row) ? 1 : 0);
    }
  }
  bool has_nulls() const {
    return std::any_of(nulls.begin(), nulls.end() - 1, [](uint8_t null) { return null != 0; });
  }
};

// Results by code, or by the distance from the smallest value.
template <class Stored, class T>
class table_node final : public node {
public:
  table_node(node_ptr column, const layout &result, result_table<Stored> results, std::string_view method)
      : column_(std::move(column)), results_(std::move(results)), method_(method) {
    result_ = result;
    const layout &of = column_->result();
    low_ = of.form == representation::codes ? 0 : static_cast<int64_t>(of.bounds->low);
    of_null_ = results_.nulls.back() != 0 ? std::optional<T>() : static_cast<T>(results_.values.back());
    value_is_null_ = results_.has_nulls();
    result_.has_nulls = value_is_null_ || (of.has_nulls && !of_null_);
  }

  vector run(evaluation &chunk) const override {
    const vector in = column_->run(chunk);
    if (in.form == representation::codes)
      return looked_up(in, chunk.memory(), [codes = in.codes()](size_t row) { return codes[row]; });
    // A row with NULL may hold a value outside of the bounds.
    const uint64_t last = results_.values.size() - 1;
    return looked_up(in, chunk.memory(), [values = in.int64s(), last, low = low_](size_t row) {
      return std::min(static_cast<uint64_t>(values[row]) - static_cast<uint64_t>(low), last);
    });
  }
  std::optional<coded_numbers> run_coded(evaluation &chunk) const override {
    if constexpr (std::is_same_v<Stored, int64_t> && std::is_same_v<T, int64_t>)
      if (const vector in = column_->run(chunk);
          in.form == representation::codes && !value_is_null_ && (in.validity == nullptr || !of_null_))
        return coded_numbers{in, results_.values.data()};
    return std::nullopt;
  }
  void add_methods(std::set<std::string_view> &methods) const override { methods.insert(method_); }

private:
  template <class Place>
  vector looked_up(const vector &in, arena &memory, const Place &place) const {
    const std::span<T> out = memory.take<T>(in.rows);
    for (size_t row = 0; row < out.size(); ++row)
      out[row] = static_cast<T>(results_.values[place(row)]);
    if (!value_is_null_ && (in.validity == nullptr || !of_null_))
      return vector(out, in.validity);
    const std::span<uint64_t> validity = all_valid(memory, in.rows);
    for (size_t row = 0; row < out.size(); ++row)
      if (in.is_null(row) && of_null_)
        out[row] = *of_null_;
      else if (in.is_null(row) || results_.nulls[place(row)] != 0)
        set_null(validity, row);
    return vector(out, validity.data());
  }

  node_ptr column_;
  result_table<Stored> results_;
  std::string_view method_;
  int64_t low_ = 0;
  std::optional<T> of_null_;
  bool value_is_null_ = false;
};

// Runs an expression on all values of a column, and on NULL.
class values_run {
public:
  values_run(const layout &column, size_t index, size_t columns, const bound_expression &by_values)
      : column_(column), index_(index), columns_(columns), evaluator_(by_values.begin()) {}

  // Calls a function with the results of some thousand values at a time.  The results stay in the arena.
  template <class Take>
  void run(arena &memory, const Take &take) {
    with_type(decoded_form(column_), [&]<class T>(T) {
      const size_t values = column_.form == representation::codes
                                ? column_.entries->codes()
                                : static_cast<size_t>(column_.bounds->high - column_.bounds->low + 1);
      for (size_t first = 0; first < values; first += chunk_rows)
        take(run_some<T>(first, std::min<size_t>(chunk_rows, values - first), memory));
      const T zero{};
      const uint64_t null = 0;
      take(run_rows(vector(std::span<const T>(&zero, 1), &null), memory));
    });
  }

private:
  template <class T>
  vector run_some(size_t first, size_t count, arena &memory) {
    if (column_.form == representation::codes) {
      const std::span<const T> values = entries<T>().subspan(first, count);
      if (first != 0 || !column_.entries->has_null())
        return run_rows(vector(values), memory);
      // The result may share these bits.
      const std::span<uint64_t> first_is_null = all_valid(memory, count);
      set_null(first_is_null, 0);
      return run_rows(vector(values, first_is_null.data()), memory);
    }
    const std::span<int64_t> values = memory.take<int64_t>(count);
    std::iota(values.begin(), values.end(), static_cast<int64_t>(column_.bounds->low) + static_cast<int64_t>(first));
    return run_rows(vector(values), memory);
  }

  template <class T>
  std::span<const T> entries() const {
    if constexpr (std::is_same_v<T, int64_t>)
      return column_.entries->int64s();
    else if constexpr (std::is_same_v<T, __int128>)
      return column_.entries->int128s();
    else if constexpr (std::is_same_v<T, double>)
      return column_.entries->float64s();
    else if constexpr (std::is_same_v<T, std::string_view>)
      return column_.entries->texts();
    else
      return {};
  }

  vector run_rows(const vector &values, arena &memory) {
    chunk rows(memory, values.rows);
    for (size_t c = 0; c < columns_; ++c)
      if (c == index_)
        rows.add_column(values);
      else
        rows.add_missing_column();
    return evaluator_->run(rows);
  }

  const layout &column_;
  size_t index_;
  size_t columns_;
  std::unique_ptr<evaluator> evaluator_;
};

template <class T>
void set_bounds(layout &of, const result_table<T> &results) {
  std::optional<number_bounds> bounds;
  for (size_t i = 0; i < results.values.size(); ++i)
    if (results.nulls[i] == 0)
      bounds = {std::min<__int128>(bounds ? bounds->low : results.values[i], results.values[i]),
                std::max<__int128>(bounds ? bounds->high : results.values[i], results.values[i])};
  of.bounds = bounds ? bounds : number_bounds{0, 0};
}

// The texts as codes of a new dictionary.  Null if there are many texts and nearly all are distinct, or if a text is
// too long for a dictionary.
node_ptr with_dictionary(node_ptr column, layout result, const result_table<std::string_view> &texts,
                         std::string_view method) {
  constexpr size_t many = 65536;
  std::unordered_map<std::string_view, uint32_t> codes;
  bool has_null = false;
  for (size_t i = 0; i < texts.values.size(); ++i) {
    has_null = has_null || texts.nulls[i] != 0;
    if (texts.nulls[i] != 0)
      continue;
    codes.emplace(texts.values[i], 0);
    if (texts.values[i].size() > dictionary::longest_text ||
        (codes.size() > many && codes.size() > texts.values.size() / 2))
      return nullptr;
  }
  std::vector<std::string_view> sorted;
  sorted.reserve(codes.size());
  for (const auto &[text, code] : codes)
    sorted.push_back(text);
  std::sort(sorted.begin(), sorted.end());
  for (size_t i = 0; i < sorted.size(); ++i)
    codes[sorted[i]] = static_cast<uint32_t>(i) + (has_null ? 1 : 0);

  result.entries = std::make_shared<coded_values>(
      std::make_shared<const dictionary>(dictionary::of(std::span<const std::string_view>(sorted), has_null)),
      result.held());
  result.form = representation::codes;
  result.distinct = sorted.size() + (has_null ? 1 : 0);
  result_table<uint32_t> made;
  made.nulls = texts.nulls;
  made.values.reserve(texts.values.size());
  for (size_t i = 0; i < texts.values.size(); ++i)
    made.values.push_back(texts.nulls[i] != 0 ? 0 : codes[texts.values[i]]);
  return std::make_shared<table_node<uint32_t, uint32_t>>(std::move(column), result, std::move(made), method);
}

} // namespace

node_ptr make_by_code(node_ptr column, size_t index, size_t columns, const bound_expression &by_values) {
  const std::string_view method = by_values.method().find("DuckDB") != std::string::npos ? "DuckDB by codes" : "codes";
  layout result = by_values.result();
  try {
    arena memory;
    values_run all(column->result(), index, columns, by_values);
    return with_type(result.form, [&]<class T>(T) -> node_ptr {
      result_table<T> results;
      all.run(memory, [&](const vector &some) { results.add(some); });
      if constexpr (std::is_same_v<T, std::string_view>) {
        return with_dictionary(std::move(column), std::move(result), results, method);
      } else {
        result.distinct = results.values.size();
        if constexpr (!std::is_same_v<T, double> && !std::is_same_v<T, uint32_t>)
          set_bounds(result, results);
        if (result.held().kind != value_kind::boolean)
          return std::make_shared<table_node<T, T>>(std::move(column), result, std::move(results), method);
        result_table<uint8_t> narrow{{results.values.begin(), results.values.end()}, std::move(results.nulls)};
        return std::make_shared<table_node<uint8_t, int64_t>>(std::move(column), result, std::move(narrow), method);
      }
    });
  } catch (const error &) {
    return nullptr; // there may be no row with this value
  }
}

} // namespace store::exec
