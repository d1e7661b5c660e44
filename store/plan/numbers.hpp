// Numbers of rows in the forms that the library adds.
//
// An integer is cut into limbs, integer = sum of limb[i] * 2^(32 i), of which all but the highest have 32 bits without
// a sign.  One limb is enough for small integers.  The accumulators of the library wrap around at 64 bits, and limbs
// leave room for the sums of many rows, so that the sums are exact whatever the integers are.  A limb is stored as
// VORN_NUM_DSB of 64 bits, a real as a double of the processor.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "store/encode/column.hpp"
#include <vorn/aligned.hpp>
#include <vorn/vorn.h>

namespace store {

struct number_form {
  value_kind kind = value_kind::integer; // of the column
  bool is_real = false;
  uint32_t limbs = 1;
  uint64_t largest_limb = 0; // the magnitude of one at the most
  bool is_nullable = true;
};

// A column of numbers, which are had as reals if it is asked for.
struct number_column {
  const column *of = nullptr;
  bool of_second = false; // table
  bool as_real = false;

  friend bool operator==(const number_column &, const number_column &) = default;
};
number_form form_of(const number_column &read);

// The integer, or a real as double, of a number.
__int128 integer_of(const cell &number, value_kind kind);
double real_of(const cell &number, const column_type &type);

class numbers {
public:
  explicit numbers(const number_column &read) : type_(read.of->type), form_(form_of(read)) {}
  explicit numbers(const number_form &chosen) : type_{chosen.kind}, form_(chosen) {}

  const number_form &stored_as() const { return form_; }
  size_t size() const { return words_[0].size(); }

  void resize(size_t count);
  void assign(std::span<const cell> cells);
  // The numbers of codes, from those of all codes.
  void assign(const numbers &by_code, std::span<const uint32_t> codes);

  // Those of the codes of a dictionary of reals.
  void assign_reals(const vorn_ctx &ctx, const dictionary &entries);

  void *reals() { return words_[0].data(); }
  // Makes those NULL that are so in one of two others, of which one may be null.
  void keep_present(const numbers *left, const numbers *right);

  const uint64_t *limb(uint32_t index) const { return words_[index].data(); }
  // Where a number is NULL this has a 0, and the limbs, or the real, too; elsewhere 1.
  const uint8_t *present() const { return is_present_.data(); }

private:
  column_type type_;
  number_form form_;
  std::array<vorn_host::aligned_vector<uint64_t>, 4> words_;
  vorn_host::aligned_vector<uint8_t> is_present_; // if there may be a NULL
};

} // namespace store
