// Arithmetic of integers, decimal numbers and reals.
//
// Integers are computed in 64 bits if the bounds of the operands allow it, and otherwise in 128 bits.  The bounds also
// decide the tests: none, whether a result leaves its SQL type, or whether it leaves the machine type too.
#include <algorithm>
#include <cmath>
#include <optional>

#include "store/evaluate/node.hpp"
#include "store/evaluate/quotient.hpp"

namespace store::exec {

namespace {

struct adding {
  static bool overflows(auto a, auto b, auto &out) { return __builtin_add_overflow(a, b, &out); }
  static auto unsigned_result(auto a, auto b) { return a + b; }
  static double of(double a, double b) { return a + b; }
};
struct subtracting {
  static bool overflows(auto a, auto b, auto &out) { return __builtin_sub_overflow(a, b, &out); }
  static auto unsigned_result(auto a, auto b) { return a - b; }
  static double of(double a, double b) { return a - b; }
};
struct multiplying {
  static bool overflows(auto a, auto b, auto &out) { return __builtin_mul_overflow(a, b, &out); }
  static auto unsigned_result(auto a, auto b) { return a * b; }
  static double of(double a, double b) { return a * b; }
};

template <class Take>
auto with_operation(char sign, const Take &take) {
  return sign == '+' ? take(adding()) : sign == '-' ? take(subtracting()) : take(multiplying());
}

// The bounds of the results; empty if they do not fit into 128 bits.
std::optional<number_bounds> result_bounds(char sign, const number_bounds &a, const number_bounds &b) {
  return with_operation(sign, [&](auto operation) -> std::optional<number_bounds> {
    __int128 at_corners[4];
    if (operation.overflows(a.low, b.low, at_corners[0]) || operation.overflows(a.low, b.high, at_corners[1]) ||
        operation.overflows(a.high, b.low, at_corners[2]) || operation.overflows(a.high, b.high, at_corners[3]))
      return std::nullopt;
    const auto [low, high] = std::minmax_element(std::begin(at_corners), std::end(at_corners));
    return number_bounds{*low, *high};
  });
}

// The possible faults of a result.
enum class test {
  nothing, // the bounds exclude it
  range,   // it may leave its SQL type
  overflow // it may leave the machine's type
};

template <class T>
using unsigned_of = std::conditional_t<sizeof(T) == sizeof(uint64_t), uint64_t, unsigned __int128>;

// The result of one row, and whether it is wrong.
template <test Test, class Operation, class T>
T result_of(T a, T b, T low, T high, bool &wrong) {
  T result;
  if constexpr (Test == test::overflow)
    wrong |= Operation::overflows(a, b, result);
  else // rows with NULL may hold values outside of the bounds
    result = static_cast<T>(Operation::unsigned_result(static_cast<unsigned_of<T>>(a), static_cast<unsigned_of<T>>(b)));
  if constexpr (Test != test::nothing) {
    wrong |= result < low;
    wrong |= result > high;
  }
  return result;
}

// Computes all rows.  a(row) and b(row) are the operands.
template <test Test, class Operation, class T, class A, class B>
void compute(std::span<T> results, const A &a, const B &b, const number_bounds &type, const uint64_t *validity) {
  const auto low = static_cast<T>(type.low);
  const auto high = static_cast<T>(type.high);
  bool has_wrong = false;
  for (size_t row = 0; row < results.size(); ++row)
    results[row] = result_of<Test, Operation>(static_cast<T>(a(row)), static_cast<T>(b(row)), low, high, has_wrong);
  if (!has_wrong)
    return;
  if (validity == nullptr)
    throw left_to_functions();
  for (size_t row = 0; row < results.size(); ++row) {
    bool wrong = false;
    if ((validity[row / 64] >> (row % 64) & 1) != 0)
      result_of<Test, Operation>(static_cast<T>(a(row)), static_cast<T>(b(row)), low, high, wrong);
    if (wrong)
      throw left_to_functions();
  }
}

template <class T>
auto values_by_row(const vector &of) {
  return [values = of.values<T>().data()](size_t row) { return values[row]; };
}

class integer_node final : public row_node {
public:
  integer_node(char sign, std::vector<node_ptr> children, const logical::sql_type &type)
      : row_node(std::move(children)), sign_(sign), type_(*bounds_of(type)) {
    const number_bounds a = *bounds_of(child(0).result());
    const number_bounds b = *bounds_of(child(1).result());
    const std::optional<number_bounds> results = result_bounds(sign, a, b);
    const bool is_narrow = fits_int64(a) && fits_int64(b);
    result_.type = type;
    result_.has_nulls = child(0).result().has_nulls || child(1).result().has_nulls;
    if (is_narrow && ((results && fits_int64(*results)) || fits_int64(type_)))
      result_.form = representation::int64;
    else
      result_.form = representation::int128;
    if (!results || (result_.form == representation::int64 && !fits_int64(*results)))
      test_ = test::overflow;
    else
      test_ = results->low < type_.low || results->high > type_.high ? test::range : test::nothing;
    result_.bounds = type_;
    if (results)
      result_.bounds = number_bounds{std::max(type_.low, results->low), std::min(type_.high, results->high)};
    if (result_.form == representation::int64)
      type_ = {std::max<__int128>(type_.low, std::numeric_limits<int64_t>::min()),
               std::min<__int128>(type_.high, std::numeric_limits<int64_t>::max())};
  }

  vector run(evaluation &chunk) const override {
    if (sign_ == '*' && result_.form == representation::int64)
      for (const size_t index : {size_t{0}, size_t{1}})
        if (const std::optional<coded_numbers> coded = child(index).run_coded(chunk))
          return product(operand(1 - index, chunk), *coded, chunk.memory());
    const vector a = operand(0, chunk);
    const vector b = operand(1, chunk);
    const uint64_t *validity = both_valid(a.validity, b.validity, a.rows, chunk.memory());
    const auto computed = [&]<class T, class A, class B>(T, A, B) {
      const std::span<T> out = chunk.memory().take<T>(a.rows);
      with_operation(sign_, [&]<class Operation>(Operation) {
        compute_tested<Operation>(out, values_by_row<A>(a), values_by_row<B>(b), validity);
      });
      return vector(out, validity);
    };
    if (result_.form == representation::int64)
      return computed(int64_t{}, int64_t{}, int64_t{});
    const bool a_is_wide = a.form == representation::int128;
    const bool b_is_wide = b.form == representation::int128;
    if (a_is_wide)
      return b_is_wide ? computed(__int128{}, __int128{}, __int128{}) : computed(__int128{}, __int128{}, int64_t{});
    return b_is_wide ? computed(__int128{}, int64_t{}, __int128{}) : computed(__int128{}, int64_t{}, int64_t{});
  }

private:
  // A product whose second factor is a code of a dictionary.
  vector product(const vector &a, const coded_numbers &b, arena &memory) const {
    const uint64_t *validity = both_valid(a.validity, b.codes.validity, a.rows, memory);
    const std::span<int64_t> out = memory.take<int64_t>(a.rows);
    compute_tested<multiplying>(
        out, values_by_row<int64_t>(a),
        [codes = b.codes.codes().data(), values = b.values](size_t row) { return values[codes[row]]; }, validity);
    return vector(out, validity);
  }

  template <class Operation, class T, class A, class B>
  void compute_tested(std::span<T> out, const A &a, const B &b, const uint64_t *validity) const {
    if (test_ == test::nothing)
      compute<test::nothing, Operation>(out, a, b, type_, validity);
    else if (test_ == test::range)
      compute<test::range, Operation>(out, a, b, type_, validity);
    else
      compute<test::overflow, Operation>(out, a, b, type_, validity);
  }

  vector operand(size_t index, evaluation &chunk) const {
    const layout &of = child(index).result();
    return values_of(child(index), result_.form == representation::int64 ? representation::int64 : decoded_form(of),
                     chunk);
  }

  char sign_;
  test test_;
  number_bounds type_; // that the result must not leave, in the machine's type
};

// // and %.  A division by zero gives NULL.
class integer_division_node final : public row_node {
public:
  integer_division_node(bool remainder, std::vector<node_ptr> children, const logical::sql_type &type)
      : row_node(std::move(children)), remainder_(remainder) {
    const number_bounds a = *bounds_of(child(0).result());
    const number_bounds b = *bounds_of(child(1).result());
    result_.type = type;
    result_.form = fits_int64(a) && fits_int64(b) ? representation::int64 : representation::int128;
    result_.bounds = bounds_of(type);
  }

  vector run(evaluation &chunk) const override {
    const vector a = values_of(child(0), result_.form, chunk);
    const vector b = values_of(child(1), result_.form, chunk);
    if (result_.form == representation::int64)
      return divided<int64_t>(a, b, chunk.memory());
    return divided<__int128>(a, b, chunk.memory());
  }

private:
  template <class T>
  vector divided(const vector &a, const vector &b, arena &memory) const {
    const std::span<const T> dividends = a.values<T>();
    const std::span<const T> divisors = b.values<T>();
    const std::span<T> out = memory.take<T>(a.rows);
    const std::span<uint64_t> validity = all_valid(memory, a.rows);
    for (size_t row = 0; row < out.size(); ++row) {
      out[row] = 0;
      if (a.is_null(row) || b.is_null(row) || divisors[row] == 0)
        set_null(validity, row);
      else if (divisors[row] == -1 && dividends[row] <= result_.bounds->low)
        throw left_to_functions(); // the quotient leaves the type
      else
        out[row] = remainder_ ? dividends[row] % divisors[row] : dividends[row] / divisors[row];
    }
    return vector(out, validity.data());
  }

  bool remainder_;
};

// A whole or decimal number divided by a whole one, as a real.
class quotient_node final : public row_node {
public:
  quotient_node(std::vector<node_ptr> children, const logical::sql_type &type) : row_node(std::move(children)) {
    result_.type = type;
    result_.form = representation::float64;
    result_.has_nulls = child(0).result().has_nulls || child(1).result().has_nulls;
  }

  vector run(evaluation &chunk) const override {
    const layout &of = child(0).result();
    const vector dividends = values_of(child(0), decoded_form(of), chunk);
    const vector divisors = values_of(child(1), representation::int64, chunk);
    const std::span<double> out = chunk.memory().take<double>(dividends.rows);
    const long double scale = std::pow(10.0, of.held().scale);
    const auto divide = [&]<class T>(std::span<const T> values) {
      for (size_t row = 0; row < out.size(); ++row)
        out[row] = quotient(values[row], divisors.values<int64_t>()[row], scale);
    };
    if (dividends.form == representation::int128)
      divide(dividends.values<__int128>());
    else
      divide(dividends.values<int64_t>());
    return vector(out, both_valid(dividends.validity, divisors.validity, dividends.rows, chunk.memory()));
  }
};

class real_node final : public row_node {
public:
  real_node(char sign, std::vector<node_ptr> children, const logical::sql_type &type)
      : row_node(std::move(children)), sign_(sign), is_single_(type.held->kind == value_kind::single) {
    result_.type = type;
    result_.form = representation::float64;
    result_.has_nulls = child(0).result().has_nulls || child(1).result().has_nulls;
  }

  vector run(evaluation &chunk) const override {
    const vector a = values_of(child(0), representation::float64, chunk);
    const vector b = values_of(child(1), representation::float64, chunk);
    const std::span<double> out = chunk.memory().take<double>(a.rows);
    const auto computed = [&](auto of) {
      for (size_t row = 0; row < out.size(); ++row)
        out[row] = of(a.float64s()[row], b.float64s()[row]);
    };
    if (sign_ == '/')
      computed([](double x, double y) { return x / y; });
    else if (sign_ == '%')
      computed([](double x, double y) { return std::fmod(x, y); });
    else
      with_operation(sign_, [&]<class Operation>(Operation) { computed(&Operation::of); });
    // The rounding of a double result to a single one is the rounding of the exact result.
    if (is_single_)
      for (double &result : out)
        result = static_cast<double>(static_cast<float>(result));
    return vector(out, both_valid(a.validity, b.validity, a.rows, chunk.memory()));
  }

private:
  char sign_;
  bool is_single_;
};

bool is_integer(const column_type &type) {
  return type.kind == value_kind::integer || type.kind == value_kind::natural || type.kind == value_kind::wide;
}

} // namespace

node_ptr make_arithmetic(std::string_view sign, std::vector<node_ptr> children, const logical::sql_type &type) {
  if (children.size() == 1 && sign == "-") {
    // The negation of 0.0 is -0.0, but 0 - 0.0 would be 0.0.
    const layout &of = children[0]->result();
    if (of.held().is_real()) {
      children.push_back(make_constant(-1.0, of.type));
      return std::make_shared<real_node>('*', std::move(children), type);
    }
    if (!is_integer(of.held()) || of.held().kind == value_kind::natural || !of.held().is_signed)
      return nullptr;
    children.insert(children.begin(), make_constant(__int128{0}, of.type));
  }
  if (children.size() != 2)
    return nullptr;
  const column_type &a = children[0]->result().held();
  const column_type &b = children[1]->result().held();
  const bool plain = sign == "+" || sign == "-" || sign == "*";
  if (a.is_real() && b.is_real() && (plain || sign == "/" || sign == "%"))
    return std::make_shared<real_node>(sign[0], std::move(children), type);
  if (sign == "-" && a.kind == value_kind::date && b.kind == value_kind::date)
    return std::make_shared<integer_node>('-', std::move(children), type);
  if (sign == "/" && is_integer(a) && is_integer(b) && b.scale == 0 && type.held->kind == value_kind::real &&
      fits_int64(*bounds_of(children[1]->result())))
    return std::make_shared<quotient_node>(std::move(children), type);
  if (is_integer(a) && is_integer(b) && is_integer(*type.held)) {
    const bool scales_fit =
        sign == "*" ? type.held->scale == a.scale + b.scale : a.scale == b.scale && a.scale == type.held->scale;
    if (plain && scales_fit)
      return std::make_shared<integer_node>(sign[0], std::move(children), type);
    if ((sign == "//" || sign == "%") && scales_fit)
      return std::make_shared<integer_division_node>(sign == "%", std::move(children), type);
  }
  return nullptr;
}

} // namespace store::exec
