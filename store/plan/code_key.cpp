#include "store/plan/code_key.hpp"

#include <algorithm>

namespace store {

namespace {

// -0 and 0 are two codes, but SQL has them in one group.
bool has_two_zeros(const column &of) {
  if (of.type.kind != value_kind::single && of.type.kind != value_kind::real)
    return false;
  const column::place zero = of.find([](const cell &c) {
    const double real = real_of_key(std::get<int64_t>(c));
    return real < 0 ? -1 : real == 0 ? 0 : 1; // NaN is the largest
  });
  return zero.found() && zero.first != zero.last;
}

} // namespace

bool code_key::serves(std::span<const column *const> columns) {
  return std::all_of(columns.begin(), columns.end(),
                     [](const column *c) { return c->is_dictionary() && !has_two_zeros(*c); });
}

std::optional<uint64_t> code_key::space() const {
  uint64_t out = 1;
  for (const column *c : digits_)
    if (__builtin_mul_overflow(out, codes(*c), &out))
      return std::nullopt;
  return out;
}

uint64_t code_key::place(uint64_t key) const {
  uint64_t out = 0;
  uint64_t factor = 1;
  for (size_t c = digits_.size(); c-- > 0;) {
    const uint64_t all = codes(*digits_[c]);
    const uint64_t first = digits_[c]->first_ordinal();
    const uint64_t code = key % all;
    key /= all;
    out += factor * (code < first ? all - first : code - first);
    factor *= all;
  }
  return out;
}

void code_key::show(uint64_t key, std::span<cell> out) const {
  for (size_t c = digits_.size(); c-- > 0;) {
    const uint64_t code = key % codes(*digits_[c]);
    key /= codes(*digits_[c]);
    out[c] = code < digits_[c]->first_ordinal() ? cell() : digits_[c]->value_of(code);
  }
}

} // namespace store
