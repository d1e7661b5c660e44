#include "store/plan/numbers.hpp"

#include <algorithm>
#include <bit>

#include "store/encode/big_endian.hpp"

namespace store {

namespace {

constexpr uint32_t limb_bits = 32;
constexpr uint64_t largest_low_limb = (uint64_t{1} << limb_bits) - 1;
// Of an integer that is not cut: the sums of a batch of them are far from the end of 64 bits.
constexpr int128 largest_whole = int128{1} << 46;

// The smallest and the largest number of a column; false without any.
bool range_of(const column &of, int128 &low, int128 &high) {
  if (of.first_ordinal() > of.last_ordinal())
    return false;
  low = integer_of(of.value_of(of.first_ordinal()), of.type.kind);
  high = integer_of(of.value_of(of.last_ordinal()), of.type.kind);
  return true;
}

uint64_t canonical(double real) {
  const auto bits = std::bit_cast<uint64_t>(real);
  constexpr uint64_t sign_bit = uint64_t{1} << 63;
  return big_endian((bits & sign_bit) != 0 ? ~bits : bits | sign_bit);
}

} // namespace

int128 integer_of(const cell &number, value_kind kind) {
  if (const auto *wide = std::get_if<wide_key>(&number))
    return number_of(*wide);
  const int64_t key = std::get<int64_t>(number);
  return kind == value_kind::natural ? int128{natural_of_key(key)} : int128{key};
}

double real_of(const cell &number, const column_type &type) {
  if (type.kind == value_kind::single || type.kind == value_kind::real)
    return real_of_key(std::get<int64_t>(number));
  double power = 1;
  for (uint32_t digit = 0; digit < type.scale; ++digit)
    power *= 10;
  return static_cast<double>(integer_of(number, type.kind)) / power;
}

number_form form_of(const column &of, bool as_real) {
  number_form out;
  out.kind = of.type.kind;
  out.is_nullable = of.has_nulls();
  out.is_real = as_real || out.kind == value_kind::single || out.kind == value_kind::real;
  int128 low = 0;
  int128 high = 0;
  if (out.is_real || !range_of(of, low, high))
    return out;
  if (low >= -largest_whole && high <= largest_whole) {
    out.largest_limb = static_cast<uint64_t>(std::max(high, -low));
  } else {
    out.limbs = of.type.is_wide() ? 4 : 2;
    out.largest_limb = largest_low_limb + 1;
  }
  return out;
}

void numbers::resize(size_t count) {
  for (uint32_t limb = 0; limb < form.limbs; ++limb)
    words[limb].resize(count);
  if (form.is_nullable)
    is_present.resize(count);
}

void numbers::assign(std::span<const cell> cells) {
  resize(cells.size());
  for (size_t i = 0; i < cells.size(); ++i) {
    const bool is_null = std::holds_alternative<std::monostate>(cells[i]);
    if (form.is_nullable)
      is_present[i] = is_null ? 0 : 1;
    if (form.is_real) {
      words[0][i] = canonical(is_null ? 0.0 : real_of(cells[i], type));
      continue;
    }
    const int128 integer = is_null ? 0 : integer_of(cells[i], form.kind);
    for (uint32_t limb = 0; limb < form.limbs; ++limb) {
      const int128 rest = integer >> (limb_bits * limb);
      const bool is_highest = limb + 1 == form.limbs;
      words[limb][i] = big_endian(static_cast<uint64_t>(rest) & (is_highest ? ~uint64_t{0} : largest_low_limb));
    }
  }
}

void numbers::assign(const numbers &by_code, std::span<const uint32_t> codes) {
  resize(codes.size());
  for (uint32_t limb = 0; limb < form.limbs; ++limb)
    for (size_t i = 0; i < codes.size(); ++i)
      words[limb][i] = by_code.words[limb][codes[i]];
  if (form.is_nullable)
    for (size_t i = 0; i < codes.size(); ++i)
      is_present[i] = by_code.is_present[codes[i]];
}

} // namespace store
