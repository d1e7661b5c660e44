#include "store/plan/numbers.hpp"

#include <algorithm>
#include <bit>
#include <cstddef>

#include "store/encode/big_endian.hpp"
#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"
#include "store/library/source_vector.hpp"

namespace store {

namespace {

constexpr uint32_t limb_bits = 32;
constexpr uint64_t largest_low_limb = (uint64_t{1} << limb_bits) - 1;
// Of an integer that is not cut: the sums of a batch of them are far from the end of 64 bits.
constexpr __int128 largest_whole = __int128{1} << 46;

// The smallest and the largest number of a column; false without any.
bool range_of(const column &of, __int128 &low, __int128 &high) {
  if (of.rows == 0 || of.first_ordinal() > of.last_ordinal())
    return false;
  low = integer_of(of.value_of(of.first_ordinal()), of.type.kind);
  high = integer_of(of.value_of(of.last_ordinal()), of.type.kind);
  return true;
}

} // namespace

__int128 integer_of(const cell &number, value_kind kind) {
  if (const auto *wide = std::get_if<wide_key>(&number))
    return number_of(*wide);
  const int64_t key = std::get<int64_t>(number);
  return kind == value_kind::natural ? __int128{natural_of_key(key)} : __int128{key};
}

double real_of(const cell &number, const column_type &type) {
  if (type.kind == value_kind::single || type.kind == value_kind::real)
    return real_of_key(std::get<int64_t>(number));
  double power = 1;
  for (uint32_t digit = 0; digit < type.scale; ++digit)
    power *= 10;
  return static_cast<double>(integer_of(number, type.kind)) / power;
}

number_form form_of(const number_column &read) {
  const column &of = *read.of;
  number_form out;
  out.kind = of.type.kind;
  out.is_nullable = of.has_nulls();
  out.is_real = read.as_real || out.kind == value_kind::single || out.kind == value_kind::real;
  __int128 low = 0;
  __int128 high = 0;
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
  for (uint32_t limb = 0; limb < form_.limbs; ++limb)
    words_[limb].resize(count);
  if (form_.is_nullable)
    is_present_.resize(count);
}

void numbers::assign(std::span<const cell> cells) {
  resize(cells.size());
  for (size_t i = 0; i < cells.size(); ++i) {
    const bool is_null = std::holds_alternative<std::monostate>(cells[i]);
    if (form_.is_nullable)
      is_present_[i] = is_null ? 0 : 1;
    if (form_.is_real) {
      words_[0][i] = std::bit_cast<uint64_t>(is_null ? 0.0 : real_of(cells[i], type_));
      continue;
    }
    const __int128 integer = is_null ? 0 : integer_of(cells[i], form_.kind);
    for (uint32_t limb = 0; limb < form_.limbs; ++limb) {
      const __int128 rest = integer >> (limb_bits * limb);
      const bool is_highest = limb + 1 == form_.limbs;
      words_[limb][i] = big_endian(static_cast<uint64_t>(rest) & (is_highest ? ~uint64_t{0} : largest_low_limb));
    }
  }
}

void numbers::assign(const numbers &by_code, std::span<const uint32_t> codes) {
  resize(codes.size());
  for (uint32_t limb = 0; limb < form_.limbs; ++limb)
    for (size_t i = 0; i < codes.size(); ++i)
      words_[limb][i] = by_code.words_[limb][codes[i]];
  if (form_.is_nullable)
    for (size_t i = 0; i < codes.size(); ++i)
      is_present_[i] = by_code.is_present_[codes[i]];
}

// The symbol of a real is the canonical number.  Below the symbols is that of NULL, which has no bytes.
void numbers::assign_reals(const vorn_ctx &ctx, const dictionary &entries) {
  resize(0);
  resize(entries.codes());
  const uint64_t first = entries.first_code();
  if (form_.is_nullable)
    std::fill(is_present_.begin() + static_cast<std::ptrdiff_t>(first), is_present_.end(), uint8_t{1});
  if (entries.size() == 0)
    return;
  vorn_enc_ctx canonical{};
  canonical.vorn_enc_ctx_num_type = VORN_NUM_DOUBLE;
  vorn_cv symbols{};
  vorn_cv native{};
  vorn_build_vector(&symbols, only_read(entries.symbol(first).data()), nullptr, nullptr, &canonical, nullptr, nullptr,
                    static_cast<uint32_t>(entries.size()), 0, nullptr, 0);
  native.vorn_cv_vals = words_[0].data() + first;
  expect(vorn_convert(&ctx, &native, &symbols, nullptr), VORN_RESULT_DONE, "converting numbers");
}

void numbers::keep_present(const numbers *left, const numbers *right) {
  if (!form_.is_nullable)
    return;
  std::fill(is_present_.begin(), is_present_.end(), uint8_t{1});
  for (const numbers *operand : {left, right})
    if (operand != nullptr && operand->form_.is_nullable)
      for (size_t i = 0; i < size(); ++i)
        is_present_[i] = is_present_[i] & operand->is_present_[i];
  for (size_t i = 0; i < size(); ++i)
    if (is_present_[i] == 0)
      words_[0][i] = 0;
}

} // namespace store
