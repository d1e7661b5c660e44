#include "store/chunk/coded_values.hpp"

#include <algorithm>

namespace store::exec {

template <class T, class Decode>
std::span<const T> coded_values::decoded(std::vector<T> &into, std::once_flag &once, Decode decode) const {
  std::call_once(once, [&] {
    into.resize(std::max<uint64_t>(codes(), 1)); // NULL may have code 0 where there is no value
    for (uint64_t code = symbols_->first_code(); code < codes(); ++code)
      into[code] = decode(symbols_->value_of(code, type_.kind));
  });
  return into;
}

std::span<const int64_t> coded_values::int64s() const {
  return decoded(int64s_, decoded_int64s_, [](const cell &c) { return std::get<int64_t>(c); });
}

std::span<const __int128> coded_values::int128s() const {
  return decoded(int128s_, decoded_int128s_, [](const cell &c) {
    if (const auto *key = std::get_if<int64_t>(&c))
      return static_cast<__int128>(natural_of_key(*key));
    return number_of(std::get<wide_key>(c));
  });
}

std::span<const double> coded_values::float64s() const {
  return decoded(float64s_, decoded_float64s_, [](const cell &c) { return real_of_key(std::get<int64_t>(c)); });
}

std::span<const std::string_view> coded_values::texts() const {
  return decoded(texts_, decoded_texts_, [](const cell &c) { return std::get<std::string_view>(c); });
}

} // namespace store::exec
