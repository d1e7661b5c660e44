// The values of a dictionary, decoded when a query first needs them.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "store/encode/dictionary.hpp"
#include "store/value/value.hpp"

namespace store::exec {

// Several threads may call this at once.  Code 0 of a dictionary with NULL has the value 0 or an empty text.
class coded_values {
public:
  coded_values(std::shared_ptr<const dictionary> symbols, column_type type)
      : symbols_(std::move(symbols)), type_(type) {}
  coded_values(const coded_values &) = delete;

  const dictionary &symbols() const { return *symbols_; }
  const column_type &type() const { return type_; }
  uint64_t codes() const { return symbols_->codes(); }
  bool has_null() const { return symbols_->has_null(); }

  // The value of each code in the representation of the type.
  std::span<const int64_t> int64s() const;
  std::span<const __int128> int128s() const;
  std::span<const double> float64s() const;
  std::span<const std::string_view> texts() const;

private:
  template <class T, class Decode>
  std::span<const T> decoded(std::vector<T> &into, std::once_flag &once, Decode decode) const;

  std::shared_ptr<const dictionary> symbols_;
  column_type type_;
  mutable std::once_flag decoded_int64s_, decoded_int128s_, decoded_float64s_, decoded_texts_;
  mutable std::vector<int64_t> int64s_;
  mutable std::vector<__int128> int128s_;
  mutable std::vector<double> float64s_;
  mutable std::vector<std::string_view> texts_;
};

} // namespace store::exec
