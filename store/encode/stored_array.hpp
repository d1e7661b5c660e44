// An array of a stored column: of its own memory, or a part of memory that others share, such as a mapped file.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <utility>

#include "store/encode/aligned.hpp"

namespace store {

template <class T>
class stored_array {
public:
  stored_array() = default;
  stored_array(aligned_vector<T> elements) : own(std::move(elements)) {} // NOLINT(google-explicit-constructor)
  // The elements lie in what the keeper keeps.
  stored_array(std::span<const T> elements, std::shared_ptr<const void> keeper)
      : shared(elements), kept(std::move(keeper)) {}

  // What is being made, in memory of its own.
  aligned_vector<T> &made() { return own; }

  const T *data() const { return kept ? shared.data() : own.data(); }
  size_t size() const { return kept ? shared.size() : own.size(); }
  bool empty() const { return size() == 0; }
  const T &operator[](size_t index) const { return data()[index]; }
  const T *begin() const { return data(); }
  const T *end() const { return data() + size(); }

private:
  aligned_vector<T> own;
  std::span<const T> shared;
  std::shared_ptr<const void> kept;
};

} // namespace store
