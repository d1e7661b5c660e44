// Sums, conversion and arithmetic against a model that reads numbers byte by byte, one row after the other; and point
// in polygon.
#include <cmath>

#include "tests/support/guarded.hpp"
#include "tests/support/kernel_test.hpp"
#include "tests/support/slots.hpp"

namespace {

using namespace vorn_test;

constexpr uint32_t row_counts[] = {0, 1, 2, 3, 63, 64, 65, 255, 256, 257, 700};

template <class Number>
using bits_of = std::conditional_t<sizeof(Number) == 4, uint32_t, uint64_t>;

// A float, a double, or a dsb number of some bytes.  A dsb number is returned as uint64_t, since sums wrap around.
template <class Number>
Number read(const uint8_t *at, bool native, unsigned size = sizeof(Number)) {
  uint64_t bits = 0;
  for (unsigned i = 0; i < size; ++i)
    bits |= uint64_t{at[native && !std::is_integral_v<Number> ? i : size - 1 - i]} << 8 * i;
  const uint64_t top = uint64_t{1} << (8 * size - 1);
  if constexpr (std::is_integral_v<Number>)
    return bits & top ? bits | (0 - top) : bits;
  else
    return std::bit_cast<Number>(static_cast<bits_of<Number>>(native ? bits : bits & top ? bits ^ top : ~bits));
}

// Equal bytes, or two NaNs.
template <class Number>
bool alike(const Number &a, const Number &b) {
  return same(a, b) || (a != a && b != b);
}

enum operation { by_key, to_one, converting_to_one, converting };

struct numbers_test : kernel_test {
  // Stored numbers.  The sum of the floats depends on the order of additions, unless they are extremes.
  template <class Number>
  std::string numbers(size_t n, bool native, bool extremes, unsigned size = sizeof(Number)) {
    if constexpr (std::is_integral_v<Number>) {
      return value(n * size);
    } else {
      using limits = std::numeric_limits<Number>;
      constexpr Number special[] = {0, limits::infinity(), limits::signaling_NaN(), limits::denorm_min(),
                                    limits::max()};
      std::string bytes;
      while (n-- != 0) {
        const Number any = std::ldexp(static_cast<Number>(random()), static_cast<int>(below(30)) - 70);
        auto bits = std::bit_cast<bits_of<Number>>(extremes && below(2) ? special[below(5)] : any);
        bits ^= bits_of<Number>{below(2)} << (8 * size - 1);
        const std::string stored = bytes_of(native ? bits : bits >> (8 * size - 1) ? ~bits : ~(~bits << 1 >> 1));
        bytes += native ? stored : std::string(stored.rbegin(), stored.rend());
      }
      return bytes;
    }
  }

  // known: the kind as the operation reads it, or 0.
  template <class Number>
  void check(operation what, unsigned kind, unsigned known, unsigned size, bool native, uint32_t nrows) {
    const bool extremes = below(2), works = known != 0 && (what != converting || (known != VORN_NUM_DSB && !native));
    const size_t nresults = what == by_key ? 17 : what == converting ? nrows : 1;
    guarded_bytes vals(numbers<Number>(nrows, native, extremes, size)), keys(value(4 * nrows));
    guarded_bytes out(numbers<Number>(nresults, true, extremes));
    std::vector<Number> expected(out.as<Number>(), out.as<Number>() + nresults);
    Number sum = 0;
    for (uint32_t row = 0; row < nrows && works && std::has_single_bit(size); ++row) {
      const Number number = read<Number>(vals.data() + row * size, native, size);
      const uint32_t key = keys.as<uint32_t>()[row] = row == 0 ? 16 : below(17);
      if (what == by_key)
        expected[key] += number;
      else if (what == converting)
        expected[row] = number;
      sum += number;
    }
    if (works && (what == to_one || what == converting_to_one))
      expected[0] = sum + expected[0];
    vorn_enc_ctx enc = {}, none = {};
    enc.vorn_enc_ctx_num_type = static_cast<uint8_t>(kind);
    enc.vorn_enc_ctx_flags = native ? all_flags : ~uint32_t{VORN_NATIVE};
    enc.vorn_enc_ctx_width = known == VORN_NUM_DSB ? 8 * size : 7;
    vorn_cv src = vector_of(vals.data(), enc, nrows), res = vector_of(out.data(), none, 0);
    vorn_cv grp = vector_of(keys.data(), none, 0);
    vorn_aux aux = {};
    aux.vorn_aux_flags = what == converting ? 0x7f : VORN_AUX_SUM;
    EXPECT_EQ(what >= converting_to_one
                  ? vorn_global_ctx.vorn_convert_dydi(&res, &src, &aux)
                  : vorn_global_ctx.vorn_gby_sum_dydi(&res, &src, what == by_key ? &grp : nullptr, &aux),
              works ? done : uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), out.as<Number>(),
                           what == converting ? same<Number> : alike<Number>));
  }

  // constant: 1 for the left operand, 2 for the right, 3 for flags on both, of which the left counts.  in_place: 1 when
  // the result overwrites the left operand, 2 for the right.
  template <class Float>
  void check_arithmetic(const slot &s, uint32_t nrows, unsigned constant, unsigned in_place) {
    const bool native[] = {!(s.width_code() & 4), !(s.width_code() & 8)}, extremes = below(2);
    const size_t stored = std::max(nrows, 1U), nresults = s.flag() ? 1 : nrows;
    guarded_bytes left(numbers<Float>(stored, native[0], extremes)), right(numbers<Float>(stored, native[1], extremes));
    guarded_bytes apart(numbers<Float>(nresults, true, extremes));
    guarded_bytes &out = s.flag() || in_place == 0 ? apart : in_place == 1 ? left : right;
    std::vector<Float> expected(nrows);
    Float sum = 0;
    for (uint32_t row = 0; row < nrows; ++row) {
      const auto a = read<Float>(left.data() + (constant & 1 ? 0 : row * sizeof(Float)), native[0]);
      const auto b = read<Float>(right.data() + (constant == 2 ? 0 : row * sizeof(Float)), native[1]);
      expected[row] = s.opcode() == VORN_OPC_ADD ? a + b : s.opcode() == VORN_OPC_SUB ? a - b : a * b;
      sum += expected[row];
    }
    if (s.flag())
      expected = {sum + *out.as<Float>()};
    vorn_enc_ctx enc[2] = {};
    for (unsigned i = 0; i < 2; ++i)
      enc[i].vorn_enc_ctx_flags = ~((native[i] ? 0 : uint32_t{VORN_NATIVE}) |
                                    (constant >> i & 1 ? 0 : uint32_t{VORN_CONST})); // all other flags are set
    enc[0].vorn_enc_ctx_num_type = s.width_code() & 1 ? VORN_NUM_DOUBLE : VORN_NUM_FLOAT;
    enc[1].vorn_enc_ctx_num_type = static_cast<uint8_t>(random());
    vorn_cv a = vector_of(left.data(), enc[0], nrows), b = vector_of(right.data(), enc[1], nrows);
    (below(2) ? a : b).vorn_cv_nrows = below(nrows + 1);
    vorn_cv res = vector_of(out.data(), enc[1], 77);
    vorn_ctx ctx = env.context();
    vorn_aux aux = {};
    aux.vorn_aux_flags = s.flag() ? 0xff : 0x7f;
    EXPECT_EQ(below(2) ? vorn_global_ctx.vorn_global_ctx_dispatch[s.index].binary(&res, &a, &b, nullptr)
                       : vorn_arith(&ctx, &res, &a, &b, s.flag() || below(2) ? &aux : nullptr, s.opcode()),
              done);
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), out.as<Float>(), alike<Float>));
  }
};

TEST_P(numbers_test, are_summed_in_the_order_of_the_rows_and_converted) {
  for (const uint32_t nrows : each(row_counts))
    for (const operation what :
         each({by_key, by_key, to_one, to_one, converting_to_one, converting_to_one, converting}))
      // The kinds alone and with other bits: conversions test bits, sums compare the whole kind.
      for (const unsigned kind : each({1U, 2U, 8U, 3U, 9U, 0xaU, 0x41U, 0x82U, 0x1cU, 0xf4U, 0U}))
        for (const bool native : each({false, true})) {
          if (!random.takes_case())
            continue;
          const unsigned first = kind & VORN_NUM_FLOAT    ? unsigned{VORN_NUM_FLOAT}
                                 : kind & VORN_NUM_DOUBLE ? unsigned{VORN_NUM_DOUBLE}
                                                          : kind & VORN_NUM_DSB;
          const unsigned known = what >= converting_to_one || first == kind ? first : 0;
          SCOPED_TRACE(testing::Message() << what << " kind " << kind << " rows " << nrows << " native " << native);
          if (known == VORN_NUM_FLOAT)
            check<float>(what, kind, known, 4, native, nrows);
          else if (known == VORN_NUM_DOUBLE)
            check<double>(what, kind, known, 8, native, nrows);
          else
            for (const unsigned size : each({1U, 2U, 3U, 4U, 8U}))
              check<uint64_t>(what, kind, known, size, native, nrows);
        }
}

TEST_P(numbers_test, are_added_subtracted_and_multiplied) {
  for (const unsigned opcode : each({VORN_OPC_ADD, VORN_OPC_SUB, VORN_OPC_MUL}))
    for (const slot &s : each(slots_of(opcode, 16)))
      for (const uint32_t nrows : each(row_counts))
        for (const unsigned way : each_from(0U, 11U)) {
          if (!random.takes_case())
            continue;
          SCOPED_TRACE(testing::Message() << s.name() << " rows " << nrows << " way " << way);
          if (s.width_code() & 1)
            check_arithmetic<double>(s, nrows, way / 3, way % 3);
          else
            check_arithmetic<float>(s, nrows, way / 3, way % 3);
        }
  EXPECT_EQ(vorn_div(nullptr, nullptr, nullptr, nullptr, nullptr), uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
}

// A fused multiply-add would keep the last bit of the square.  Processors with the instruction must not use it.
TEST_P(numbers_test, are_rounded_before_they_are_summed) {
  const double x = 1 + 0x1p-30, square = 1 + 0x1p-29; // rounded: x * x is greater by 0x1p-60
  const double left[] = {-square, x}, right[] = {1, x};
  unsigned sums = 0;
  for (const slot &s : slots_of(VORN_OPC_MUL, 16))
    if (s.flag() && (s.width_code() & 0xd) == 1) {
      double sum = 0;
      vorn_enc_ctx enc = {};
      enc.vorn_enc_ctx_flags = VORN_NATIVE;
      vorn_cv a = vector_of(left, enc, 2), b = vector_of(right, enc, 2), res = vector_of(&sum, enc, 1);
      EXPECT_EQ(vorn_global_ctx.vorn_global_ctx_dispatch[s.index].binary(&res, &a, &b, nullptr), done) << s.name();
      EXPECT_EQ(sum, 0) << s.name();
      ++sums;
    }
  EXPECT_GT(sums, 0U);
}

struct polygon_test : kernel_test {
  uint32_t crossed(const std::vector<double> &xs, const std::vector<double> &ys, double x, double y) {
    uint32_t count = 99;
    vorn_enc_ctx none = {};
    vorn_cv vertices[] = {vector_of(xs.data(), none, static_cast<uint32_t>(xs.size())), vector_of(ys.data(), none, 0)};
    vorn_cv point[] = {vector_of(&x, none, 0), vector_of(&y, none, 0)}, res = vector_of(&count, none, 0);
    EXPECT_EQ(vorn_global_ctx.vorn_spatial_pip_dydi(&res, vertices, vertices + 1, point, point + 1, nullptr), done);
    return count;
  }
};

TEST_P(polygon_test, counts_the_edges_that_a_ray_crosses) {
  const double nan = std::nan("");
  const std::vector<double> far = {0, 1, 1, 0}, up = {0, 0, 1, 1}; // a square; swapped, the same square clockwise
  const std::array<double, 3> points[] = {{0.5, 0.5, 1}, {2, 0.5, 0},   {-1, 0.5, 2}, {0, 0.5, 1}, {1, 0.5, 0},
                                          {0.5, 0, 1},   {0.5, 1, 0},   {0, 0, 1},    {1, 1, 0},   {1, 0, 0},
                                          {0, 1, 0},     {0.5, nan, 0}, {nan, 0.5, 0}};
  for (const auto &[x, y, count] : points)
    EXPECT_TRUE(crossed(far, up, x, y) == count && crossed(up, far, x, y) == count) << x << ' ' << y;
  EXPECT_EQ(crossed({}, {}, 0, 0), 0U);
  EXPECT_EQ(crossed({5}, {5}, 0, 5), 0U);
  EXPECT_EQ(crossed({5, 6}, {4, 6}, 0, 5), 2U);
  EXPECT_EQ(crossed({0, 9, 9, 0}, {0, 0, nan, 9}, -1, 5), 1U);
  EXPECT_EQ(crossed({1, 2, 3}, {0, 5, 0}, 0, 5), 0U) << "a peak";
  EXPECT_EQ(crossed({1, 2, 3}, {5, 0, 5}, 0, 0), 2U) << "a valley";
  for (int round = 0; round < 2000; ++round) { // a crossing at the point itself does not count
    double at[4];
    std::generate_n(at, 4, [&] { return std::ldexp(static_cast<double>(random()), -64); });
    const double y = (2 * at[3] - 1) * at[1], t = ((at[0] - at[2]) * (y + at[1])) / (at[1] + at[1]) + at[2];
    EXPECT_EQ(crossed({at[0], at[2], 9}, {at[1], -at[1], -at[1]}, t, y), 1U);
    EXPECT_EQ(crossed({at[0], at[2], 9}, {at[1], -at[1], -at[1]}, std::nextafter(t, -1), y), 2U);
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(numbers_test);
VORN_TEST_ALL_IMPLEMENTATIONS(polygon_test);

} // namespace
