// An array of a stored column.  It has memory of its own, or a part of shared memory such as a mapped file.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <utility>

#include <vorn/aligned.hpp>

namespace store {

template <class T>
class stored_array {
public:
  stored_array() = default;
  stored_array(vorn_host::aligned_vector<T> elements) : own_(std::move(elements)) {}
  // The elements lie in the memory of the owner.
  stored_array(std::span<const T> elements, std::shared_ptr<const void> owner)
      : shared_(elements), owner_(std::move(owner)) {}

  // The elements while they are written, in memory of their own.
  vorn_host::aligned_vector<T> &made() { return own_; }

  const T *data() const { return owner_ ? shared_.data() : own_.data(); }
  size_t size() const { return owner_ ? shared_.size() : own_.size(); }
  bool empty() const { return size() == 0; }
  const T &operator[](size_t index) const { return data()[index]; }
  const T *begin() const { return data(); }
  const T *end() const { return data() + size(); }

private:
  vorn_host::aligned_vector<T> own_;
  std::span<const T> shared_;
  std::shared_ptr<const void> owner_;
};

} // namespace store
