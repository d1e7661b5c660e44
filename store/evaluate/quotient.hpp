// The quotient of a whole or decimal number and a whole number.
#pragma once

#include <cstdint>
#include <type_traits>

namespace store::exec {

// Rounded once, from long double, as DuckDB rounds an average.  `scale` is the power of ten by which the dividend is
// stored.
template <class T>
double quotient(T dividend, int64_t divisor, long double scale) {
  if constexpr (std::is_same_v<T, double>)
    return dividend / static_cast<double>(divisor);
  else
    return static_cast<double>(static_cast<long double>(dividend) / (static_cast<long double>(divisor) * scale));
}

} // namespace store::exec
