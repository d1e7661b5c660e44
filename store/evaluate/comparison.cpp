// Comparisons of two values of one type.
//
// A column of codes and a constant are compared by the codes, and so are two columns of one dictionary.  Texts of two
// dictionaries are compared by their ranks among the texts of both.  Reals that may be NaN are compared as integers in
// the same order.
#include <bit>
#include <cmath>
#include <functional>
#include <string>

#include "store/error.hpp"
#include "store/evaluate/node.hpp"

namespace store::exec {

namespace {

using logical::operation;
using logical::scalar;

bool takes_null_for_value(operation what) {
  return what == operation::distinct_from || what == operation::not_distinct_from;
}

operation without_nulls(operation what) {
  return what == operation::distinct_from       ? operation::not_equal
         : what == operation::not_distinct_from ? operation::equal
                                                : what;
}

// NaN equals NaN and lies above infinity; -0.0 equals 0.0.
int64_t order_of(double real) {
  const auto bits = std::bit_cast<int64_t>(std::isnan(real) ? std::numeric_limits<double>::quiet_NaN() : real + 0.0);
  return bits ^ static_cast<int64_t>(static_cast<uint64_t>(bits >> 63) >> 1);
}

std::span<const int64_t> orders_of(std::span<const double> reals, arena &memory) {
  const std::span<int64_t> out = memory.take<int64_t>(reals.size());
  for (size_t row = 0; row < reals.size(); ++row)
    out[row] = order_of(reals[row]);
  return out;
}

bool has_nan(std::span<const double> reals) {
  bool found = false;
  for (const double real : reals)
    found |= std::isnan(real);
  return found;
}

template <class T, class Left, class Right, class Compare>
void compare_rows(std::span<int64_t> out, const Left &left, const Right &right, Compare compare) {
  for (size_t row = 0; row < out.size(); ++row)
    out[row] = compare(left[row], right[row]) ? 1 : 0;
}

// A value in each row.
template <class T>
struct repeated {
  T value;
  const T &operator[](size_t) const { return value; }
};

template <class T, class Right>
void compare_all(operation what, std::span<int64_t> out, std::span<const T> left, const Right &right) {
  switch (what) {
  case operation::equal:
    return compare_rows<T>(out, left, right, std::equal_to<T>());
  case operation::not_equal:
    return compare_rows<T>(out, left, right, std::not_equal_to<T>());
  case operation::less:
    return compare_rows<T>(out, left, right, std::less<T>());
  case operation::less_equal:
    return compare_rows<T>(out, left, right, std::less_equal<T>());
  case operation::greater:
    return compare_rows<T>(out, left, right, std::greater<T>());
  default:
    return compare_rows<T>(out, left, right, std::greater_equal<T>());
  }
}

// The values of a constant, or the vector as it is.
template <class T>
void compare_vectors(operation what, std::span<int64_t> out, std::span<const T> left, std::span<const T> right,
                     bool right_is_constant) {
  if (right_is_constant && !right.empty())
    compare_all<T>(what, out, left, repeated<T>{right[0]});
  else
    compare_all<T>(what, out, left, right);
}

class comparison_node final : public row_node {
public:
  comparison_node(operation what, const node_ptr &left, const node_ptr &right, representation form)
      : row_node({left, right}), what_(what), form_(form), right_is_constant_(right->constant() != nullptr) {
    result_ = boolean_layout(!takes_null_for_value(what) && (left->result().has_nulls || right->result().has_nulls));
  }

  vector run(evaluation &chunk) const override {
    const bool by_code = form_ == representation::codes;
    const vector left = by_code ? child(0).run(chunk) : values_of(child(0), form_, chunk);
    const vector right = by_code ? child(1).run(chunk) : values_of(child(1), form_, chunk);
    const std::span<int64_t> out = chunk.memory().take<int64_t>(left.rows);
    compare(out, left, right, chunk.memory());
    if (!takes_null_for_value(what_))
      return vector(out, both_valid(left.validity, right.validity, left.rows, chunk.memory()));
    if (left.validity != nullptr || right.validity != nullptr)
      for (size_t row = 0; row < out.size(); ++row)
        if (left.is_null(row) || right.is_null(row))
          out[row] = (left.is_null(row) == right.is_null(row)) == (what_ == operation::not_distinct_from) ? 1 : 0;
    return vector(out);
  }

private:
  void compare(std::span<int64_t> out, const vector &left, const vector &right, arena &memory) const {
    const operation what = without_nulls(what_);
    switch (form_) {
    case representation::codes:
      return compare_vectors(what, out, left.codes(), right.codes(), false);
    case representation::int64:
      return compare_vectors(what, out, left.int64s(), right.int64s(), right_is_constant_);
    case representation::int128:
      return compare_vectors(what, out, left.int128s(), right.int128s(), right_is_constant_);
    case representation::float64:
      if (!has_nan(left.float64s()) && !has_nan(right.float64s()))
        return compare_vectors(what, out, left.float64s(), right.float64s(), right_is_constant_);
      return compare_vectors(what, out, orders_of(left.float64s(), memory), orders_of(right.float64s(), memory),
                             right_is_constant_);
    default:
      return compare_vectors(what, out, left.texts(), right.texts(), right_is_constant_);
    }
  }

  operation what_;
  representation form_;
  bool right_is_constant_;
};

// Is a code in a range?  Or, inverted, is it outside?
class code_range_node final : public row_node {
public:
  code_range_node(operation what, const node_ptr &codes, const scalar &value) : row_node({codes}) {
    const layout &of = codes->result();
    const uint32_t begin = first_code(of, value, false);
    const uint32_t end = first_code(of, value, true);
    const auto all = static_cast<uint32_t>(of.entries->codes());
    const operation plain = without_nulls(what);
    inverted_ = plain == operation::not_equal;
    first_ = plain == operation::greater ? end : plain == operation::less || plain == operation::less_equal ? 0 : begin;
    const uint32_t last = plain == operation::less                                           ? begin
                          : plain == operation::greater || plain == operation::greater_equal ? all
                                                                                             : end;
    codes_ = last - first_;
    of_null_ = !takes_null_for_value(what) ? std::optional<bool>() : what == operation::distinct_from;
    result_ = boolean_layout(of.has_nulls && !of_null_);
  }

  vector run(evaluation &chunk) const override {
    const vector in = child(0).run(chunk);
    const std::span<const uint32_t> codes = in.codes();
    const std::span<int64_t> out = chunk.memory().take<int64_t>(in.rows);
    for (size_t row = 0; row < codes.size(); ++row)
      out[row] = ((codes[row] - first_) < codes_) != inverted_ ? 1 : 0;
    if (!of_null_)
      return vector(out, in.validity);
    if (in.validity != nullptr)
      for (size_t row = 0; row < codes.size(); ++row)
        if (in.is_null(row))
          out[row] = *of_null_ ? 1 : 0;
    return vector(out);
  }
  void add_methods(std::set<std::string_view> &methods) const override { methods.insert("codes"); }

private:
  uint32_t first_ = 0;
  uint32_t codes_ = 0;
  bool inverted_ = false;
  std::optional<bool> of_null_; // empty if NULL gives NULL
};

representation common_form(const layout &left, const layout &right) {
  if (left.form == representation::codes && right.form == representation::codes && left.entries == right.entries)
    return representation::codes;
  const representation a = decoded_form(left);
  return a == representation::int64 ? decoded_form(right) : a;
}

// The rank of each code of two dictionaries among the texts of both dictionaries.  Equal texts have equal ranks.
std::pair<std::vector<uint32_t>, std::vector<uint32_t>> ranks_of(const dictionary &a, const dictionary &b) {
  std::vector<uint32_t> of_a(a.codes());
  std::vector<uint32_t> of_b(b.codes());
  uint64_t i = a.first_code();
  uint64_t j = b.first_code();
  for (uint32_t rank = 1; i < a.codes() || j < b.codes(); ++rank) {
    const int order = i == a.codes() ? 1 : j == b.codes() ? -1 : a.symbol(i).compare(b.symbol(j));
    if (order <= 0)
      of_a[i++] = rank;
    if (order >= 0)
      of_b[j++] = rank;
  }
  return {std::move(of_a), std::move(of_b)};
}

// The ranks of codes.
class rank_node final : public row_node {
public:
  rank_node(node_ptr codes, std::vector<uint32_t> ranks) : row_node({std::move(codes)}), ranks_(std::move(ranks)) {
    result_ = child(0).result();
  }

  vector run(evaluation &chunk) const override {
    const vector in = child(0).run(chunk);
    const std::span<uint32_t> out = chunk.memory().take<uint32_t>(in.rows);
    for (size_t row = 0; row < out.size(); ++row)
      out[row] = ranks_[in.codes()[row]];
    return vector(out, in.validity);
  }
  void add_methods(std::set<std::string_view> &methods) const override { methods.insert("codes"); }

private:
  std::vector<uint32_t> ranks_;
};

// Compares the value of a cell with a value of its type that is not NULL.
int order_of(const cell &entry, value_kind kind, const scalar &value) {
  const auto ordered = [](const auto &a, const auto &b) { return a < b ? -1 : b < a ? 1 : 0; };
  if (const auto *text = std::get_if<std::string_view>(&entry))
    return ordered(*text, std::string_view(std::get<std::string>(value)));
  if (const auto *key = std::get_if<wide_key>(&entry))
    return ordered(number_of(*key), std::get<__int128>(value));
  const int64_t key = std::get<int64_t>(entry);
  if (const auto *real = std::get_if<double>(&value))
    return ordered(order_of(real_of_key(key)), order_of(*real));
  const __int128 number = kind == value_kind::natural ? static_cast<__int128>(natural_of_key(key)) : key;
  return ordered(number, std::get<__int128>(value));
}

} // namespace

uint32_t first_code(const layout &of, const scalar &value, bool after) {
  const dictionary &symbols = of.entries->symbols();
  const value_kind kind = of.held().kind;
  auto low = static_cast<uint32_t>(symbols.first_code());
  auto high = static_cast<uint32_t>(symbols.codes());
  while (low < high) {
    const uint32_t middle = low + (high - low) / 2;
    if (order_of(symbols.value_of(middle, kind), kind, value) < (after ? 1 : 0))
      low = middle + 1;
    else
      high = middle;
  }
  return low;
}

node_ptr make_comparison(operation what, node_ptr left, node_ptr right, double estimated_rows) {
  if (left->constant() != nullptr && right->constant() == nullptr)
    return make_comparison(mirrored(what), std::move(right), std::move(left), estimated_rows);
  if (const scalar *value = right->constant();
      value != nullptr && !is_null(*value) && left->result().form == representation::codes)
    return std::make_shared<code_range_node>(what, left, *value);
  const layout &a = left->result();
  const layout &b = right->result();
  if (common_form(a, b) == representation::text && a.form == representation::codes && b.form == representation::codes &&
      static_cast<double>(a.entries->codes() + b.entries->codes()) < estimated_rows) {
    auto [ranks_a, ranks_b] = ranks_of(a.entries->symbols(), b.entries->symbols());
    return std::make_shared<comparison_node>(what, std::make_shared<rank_node>(std::move(left), std::move(ranks_a)),
                                             std::make_shared<rank_node>(std::move(right), std::move(ranks_b)),
                                             representation::codes);
  }
  return std::make_shared<comparison_node>(what, left, right, common_form(a, b));
}

} // namespace store::exec
