// Casts of numbers, booleans, dates and timestamps.
//
// scalar_functions cast a value that the target type does not hold.
#include <cmath>
#include <optional>

#include "store/evaluate/node.hpp"

namespace store::exec {

namespace {

constexpr int64_t day_microseconds = int64_t{86400} * 1000 * 1000;

bool is_valid(const uint64_t *validity, size_t row) {
  return validity == nullptr || (validity[row / 64] >> (row % 64) & 1) != 0;
}

// Divides and rounds half away from zero.
template <class T>
T rounded_quotient(T value, T divisor) {
  const T quotient = value / divisor;
  const T remainder = value % divisor;
  const T half = divisor / 2; // of a power of ten
  return quotient + (remainder >= half ? 1 : remainder <= -half ? -1 : 0);
}

// Casts between integers and decimal numbers, and between dates and timestamps: a multiplication or division by a
// factor.
class scaling_node final : public row_node {
public:
  enum class how { multiply, round, floor };

  scaling_node(node_ptr of, const logical::sql_type &type, how scaled, __int128 factor, const number_bounds &allowed)
      : row_node({std::move(of)}), how_(scaled), factor_(factor) {
    result_.type = type;
    result_.has_nulls = child(0).result().has_nulls;
    const number_bounds in = *bounds_of(child(0).result());
    // The values that have a result.
    allowed_ = how_ == how::multiply ? number_bounds{allowed.low / factor, allowed.high / factor} : in;
    number_bounds out{std::max(in.low, allowed_.low), std::min(in.high, allowed_.high)};
    out = {scaled_value(out.low), scaled_value(out.high)};
    is_tested_ = how_ == how::multiply ? in.low < allowed_.low || in.high > allowed_.high
                                       : out.low < allowed.low || out.high > allowed.high;
    if (how_ != how::multiply)
      allowed_ = allowed;
    result_.bounds = number_bounds{std::max(out.low, allowed.low), std::min(out.high, allowed.high)};
    if (result_.bounds->low > result_.bounds->high) // no value has a result
      result_.bounds = allowed;
    result_.form = fits_int64(in) && fits_int64(*result_.bounds) && fits_int64(allowed_) && fits_int64(factor)
                       ? representation::int64
                       : representation::int128;
    if (plain_representation(*type.held) == representation::int64)
      result_.form = representation::int64;
    in_form_ = result_.form == representation::int64 && fits_int64(in) && fits_int64(factor) && fits_int64(allowed_)
                   ? representation::int64
                   : representation::int128;
  }

  vector run(evaluation &chunk) const override {
    const vector in = values_of(child(0), in_form_, chunk);
    if (in_form_ == representation::int64)
      return scaled<int64_t, int64_t>(in, chunk.memory());
    if (result_.form == representation::int64)
      return scaled<__int128, int64_t>(in, chunk.memory());
    return scaled<__int128, __int128>(in, chunk.memory());
  }

private:
  __int128 scaled_value(__int128 value) const {
    switch (how_) {
    case how::multiply:
      return value * factor_;
    case how::round:
      return rounded_quotient(value, factor_);
    default:
      return value / factor_ - (value % factor_ < 0 ? 1 : 0);
    }
  }

  template <class T, class To>
  vector scaled(const vector &in, arena &memory) const {
    const std::span<const T> values = in.values<T>();
    const auto factor = static_cast<T>(factor_);
    if (how_ == how::multiply) {
      if (is_tested_)
        test<T>(values, in.validity);
      if constexpr (std::is_same_v<T, To>)
        if (factor == 1)
          return in;
      return each<To>(in, memory, [&](size_t row) { // rows with NULL may hold values that are too large
        using machine = std::conditional_t<sizeof(T) == sizeof(int64_t), uint64_t, unsigned __int128>;
        return static_cast<T>(static_cast<machine>(values[row]) * static_cast<machine>(factor));
      });
    }
    const std::span<T> results = memory.take<T>(values.size());
    if (how_ == how::round && factor == 1)
      std::copy(values.begin(), values.end(), results.begin());
    else if (how_ == how::round)
      for (size_t row = 0; row < values.size(); ++row)
        results[row] = rounded_quotient(values[row], factor);
    else
      for (size_t row = 0; row < values.size(); ++row)
        results[row] = values[row] / factor - (values[row] % factor < 0 ? 1 : 0);
    if (is_tested_)
      test<T>(results, in.validity);
    return each<To>(in, memory, [&](size_t row) { return results[row]; });
  }

  template <class To, class Value>
  static vector each(const vector &in, arena &memory, const Value &value) {
    const std::span<To> out = memory.take<To>(in.rows);
    for (size_t row = 0; row < out.size(); ++row)
      out[row] = static_cast<To>(value(row));
    return vector(out, in.validity);
  }

  template <class T>
  void test(std::span<const T> values, const uint64_t *validity) const {
    const auto low = static_cast<T>(allowed_.low);
    const auto high = static_cast<T>(allowed_.high);
    bool wrong = false;
    for (size_t row = 0; row < values.size(); ++row) {
      wrong |= values[row] < low;
      wrong |= values[row] > high;
    }
    if (wrong)
      for (size_t row = 0; row < values.size(); ++row)
        if (is_valid(validity, row) && (values[row] < low || values[row] > high))
          throw left_to_functions();
  }

  how how_;
  __int128 factor_;
  number_bounds allowed_{}; // values if they are multiplied, results otherwise
  bool is_tested_;
  representation in_form_;
};

// A loop from one machine type to another.  `convert` returns nothing for a value that scalar_functions must cast.
template <class From, class To, class Convert>
class conversion_node final : public row_node {
public:
  conversion_node(node_ptr of, const logical::sql_type &type, Convert convert)
      : row_node({std::move(of)}), convert_(std::move(convert)) {
    result_.type = type;
    result_.form = representation_of<To>;
    result_.has_nulls = child(0).result().has_nulls;
    result_.bounds = bounds_of(type);
  }

  vector run(evaluation &chunk) const override {
    const vector in = values_of(child(0), representation_of<From>, chunk);
    const std::span<const From> values = in.values<From>();
    const std::span<To> out = chunk.memory().take<To>(in.rows);
    bool wrong = false;
    for (size_t row = 0; row < out.size(); ++row)
      wrong |= !convert_(values[row], out[row]);
    if (wrong)
      for (size_t row = 0; row < out.size(); ++row)
        if (is_valid(in.validity, row) && !convert_(values[row], out[row]))
          throw left_to_functions();
    return vector(out, in.validity);
  }

private:
  Convert convert_;
};

template <class From, class To, class Convert>
node_ptr make_conversion(node_ptr of, const logical::sql_type &type, Convert convert) {
  return std::make_shared<conversion_node<From, To, Convert>>(std::move(of), type, std::move(convert));
}

bool is_whole_number(const column_type &type) {
  return type.kind == value_kind::boolean || type.kind == value_kind::integer || type.kind == value_kind::natural ||
         type.kind == value_kind::wide;
}

node_ptr integer_to_real(node_ptr of, const logical::sql_type &type) {
  // A double holds these integers exactly.
  constexpr int64_t exact = int64_t{1} << std::numeric_limits<double>::digits;
  const layout &from = of->result();
  const bool is_single = type.held->kind == value_kind::single;
  const uint32_t scale = from.held().scale;
  const auto whole = static_cast<int64_t>(power_of_ten(std::min(scale, 18U)));
  const auto divisor = static_cast<double>(power_of_ten(scale));
  const auto single_divisor = static_cast<float>(divisor);
  if (scale > 18 || !fits_int64(*bounds_of(from)))
    return nullptr;
  if (is_single && scale == 0)
    return make_conversion<int64_t, double>(std::move(of), type, [](int64_t value, double &out) {
      out = static_cast<double>(static_cast<float>(value));
      return true;
    });
  if (is_single) {
    constexpr int64_t exact_single = int64_t{1} << std::numeric_limits<float>::digits;
    return make_conversion<int64_t, double>(std::move(of), type, [=](int64_t value, double &out) {
      out = static_cast<double>(static_cast<float>(value) / single_divisor);
      return value >= -exact_single && value <= exact_single;
    });
  }
  const number_bounds bounds = *bounds_of(from);
  if (scale == 0)
    return make_conversion<int64_t, double>(std::move(of), type, [](int64_t value, double &out) {
      out = static_cast<double>(value);
      return true;
    });
  if (bounds.low >= -exact && bounds.high <= exact)
    return make_conversion<int64_t, double>(std::move(of), type, [=](int64_t value, double &out) {
      out = static_cast<double>(value) / divisor;
      return true;
    });
  return make_conversion<int64_t, double>(std::move(of), type, [=](int64_t value, double &out) {
    const int64_t quotient = value / whole;
    const int64_t remainder = value % whole;
    if (value >= -exact && value <= exact)
      out = static_cast<double>(value) / divisor;
    else
      out = static_cast<double>(quotient) + static_cast<double>(remainder) / divisor;
    return true;
  });
}

node_ptr real_to_integer(node_ptr of, const logical::sql_type &type) {
  const number_bounds bounds = *bounds_of(type);
  if (plain_representation(*type.held) != representation::int64)
    return nullptr;
  // scalar_functions cast reals near the bounds.
  const double low = static_cast<double>(bounds.low) + (bounds.low == 0 ? 0 : 1);
  const double high = std::min(static_cast<double>(bounds.high) - 1, 9.2e18);
  if (!decimal_width(type))
    return make_conversion<double, int64_t>(std::move(of), type, [=](double value, int64_t &out) {
      const bool fits = value >= low && value <= high;
      out = fits ? static_cast<int64_t>(std::nearbyint(value)) : 0;
      return fits;
    });
  const auto factor = static_cast<double>(power_of_ten(type.held->scale));
  // DuckDB takes the rounded number of a FLOAT for a FLOAT once more.
  const bool is_single = of->result().held().kind == value_kind::single;
  return make_conversion<double, int64_t>(std::move(of), type, [=](double value, int64_t &out) {
    const double rounded = std::round(value * factor);
    const double whole = is_single ? static_cast<double>(static_cast<float>(rounded)) : rounded;
    const bool fits = whole >= low && whole <= high;
    out = fits ? static_cast<int64_t>(whole) : 0;
    return fits;
  });
}

} // namespace

node_ptr make_cast(node_ptr child, const logical::sql_type &type) {
  const layout &of = child->result();
  if (of.type.name == type.name)
    return child;
  const column_type &from = of.held();
  const column_type &to = *type.held;
  using how = scaling_node::how;
  if (to.kind == value_kind::boolean && is_whole_number(from) && fits_int64(*bounds_of(of)))
    return make_conversion<int64_t, int64_t>(std::move(child), type, [](int64_t value, int64_t &out) {
      out = value != 0 ? 1 : 0;
      return true;
    });
  if (is_whole_number(from) && is_whole_number(to) && to.kind != value_kind::boolean) {
    const bool up = to.scale >= from.scale;
    const __int128 factor = power_of_ten(up ? to.scale - from.scale : from.scale - to.scale);
    return std::make_shared<scaling_node>(std::move(child), type, up ? how::multiply : how::round, factor,
                                          *bounds_of(type));
  }
  if (is_whole_number(from) && to.is_real())
    return integer_to_real(std::move(child), type);
  if (from.kind == value_kind::single && to.kind == value_kind::real)
    return make_conversion<double, double>(std::move(child), type, [](double value, double &out) {
      out = value;
      return true;
    });
  if (from.is_real() && is_whole_number(to) && to.kind != value_kind::boolean)
    return real_to_integer(std::move(child), type);
  // Infinity has a special number of days, and another special number of microseconds.
  const std::optional<number_bounds> bounds = bounds_of(of);
  if (of.type.name == "DATE" && type.name == "TIMESTAMP" && bounds->low > -std::numeric_limits<int32_t>::max() &&
      bounds->high < std::numeric_limits<int32_t>::max()) {
    constexpr __int128 longest = std::numeric_limits<int64_t>::max() - 2 * day_microseconds;
    return std::make_shared<scaling_node>(std::move(child), type, how::multiply, day_microseconds,
                                          number_bounds{-longest, longest});
  }
  if (of.type.name == "TIMESTAMP" && type.name == "DATE" && bounds->low > -std::numeric_limits<int64_t>::max() &&
      bounds->high < std::numeric_limits<int64_t>::max())
    return std::make_shared<scaling_node>(std::move(child), type, how::floor, day_microseconds, *bounds_of(type));
  return nullptr;
}

} // namespace store::exec
