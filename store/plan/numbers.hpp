// Numbers of rows in the forms that the library adds.
//
// An integer is cut into limbs, integer = sum of limb[i] * 2^(32 i), of which all but the highest have 32 bits without
// a sign.  One limb is enough for small integers.  The accumulators of the library wrap around at 64 bits, and limbs
// leave room for the sums of many rows, so that the sums are exact whatever the integers are.  A limb is stored as
// VORN_NUM_DSB of 64 bits, a real as the canonical double.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "store/encode/aligned.hpp"
#include "store/encode/column.hpp"
#include <vorn/vorn.h>

namespace store {

using int128 = __int128;

struct number_form {
  value_kind kind = value_kind::integer; // of the column
  bool is_real = false;
  uint32_t limbs = 1;
  uint64_t largest_limb = 0; //  the magnitude of one at the most
  bool is_nullable = true;
};

// How the numbers of a column are had, as reals if it is asked for.  The column is numeric.
number_form form_of(const column &of, bool as_real);

// The integer, or a real as double, of a number.
int128 integer_of(const cell &number, value_kind kind);
double real_of(const cell &number, const column_type &type);

class numbers {
public:
  explicit numbers(const column &of, bool as_real = false) : type(of.type), form(form_of(of, as_real)) {}

  const number_form &stored_as() const { return form; }
  size_t size() const { return words[0].size(); }

  void assign(std::span<const cell> cells);
  // The numbers of codes, from those of all codes.
  void assign(const numbers &by_code, std::span<const uint32_t> codes);

  const uint64_t *limb(uint32_t index) const { return words[index].data(); }
  // Where a number is NULL this has a 0, and the limbs, or the real, too; elsewhere 1.
  const uint8_t *present() const { return is_present.data(); }

private:
  void resize(size_t count);

  column_type type;
  number_form form;
  std::array<aligned_vector<uint64_t>, 4> words;
  aligned_vector<uint8_t> is_present; // if there may be a NULL
};

} // namespace store
