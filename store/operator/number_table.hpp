// Numbers for distinct keys: 0, 1, ... in the order of their first appearance.
//
// The table has open addressing with linear probing.  A slot holds the whole key, so a look-up touches one cache line
// in most cases, and the table fetches the lines of coming rows in advance.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <span>

#include "store/chunk/large_memory.hpp"

namespace store::exec {

// Memory filled with zeros.  The system provides the pages when they are first touched, so a sparse table costs little.
template <class T>
class zeroed_array {
public:
  zeroed_array() = default;
  explicit zeroed_array(size_t count) : memory_(static_cast<T *>(std::calloc(count, sizeof(T)))), count_(count) {
    if (memory_ == nullptr)
      throw std::bad_alloc();
    prefer_large_pages(memory_.get(), count * sizeof(T));
  }

  size_t size() const { return count_; }
  T &operator[](size_t index) { return memory_.get()[index]; }
  T *begin() { return memory_.get(); }
  T *end() { return memory_.get() + count_; }

private:
  struct freed {
    void operator()(T *memory) const { std::free(memory); }
  };
  std::unique_ptr<T, freed> memory_;
  size_t count_ = 0;
};

constexpr uint64_t mixed(uint64_t key) { return (key ^ key >> 32) * 0x9e3779b97f4a7c15; }
constexpr uint64_t hash_of(uint64_t key) { return mixed(key); }
constexpr uint64_t hash_of(unsigned __int128 key) {
  return mixed(mixed(static_cast<uint64_t>(key >> 64)) + static_cast<uint64_t>(key));
}

// Keys of 64 or 128 bits.
template <class Key>
class number_table {
public:
  explicit number_table(double estimated_keys) {
    size_t slots = 1024;
    while (static_cast<double>(slots) < estimated_keys && slots < largest_at_first)
      slots *= 2;
    slots_ = zeroed_array<slot>(slots);
    shift_ = 64 - static_cast<unsigned>(__builtin_ctzll(slots));
  }

  size_t size() const { return keys_; }

  // Finds the number of each key, and the rows with a new key.  Returns the number of these rows.
  size_t find(std::span<const Key> keys, std::span<uint32_t> numbers, std::span<uint32_t> new_rows) {
    while ((keys_ + keys.size()) * 2 > slots_.size())
      grow();
    slot *const slots = slots_.begin();
    const size_t mask = slots_.size() - 1;
    size_t added = 0;
    for (size_t row = 0; row < keys.size(); ++row) {
      if (row + fetched_before < keys.size())
        __builtin_prefetch(&slots[place(keys[row + fetched_before])], 1);
      const Key key = keys[row];
      size_t at = place(key);
      while (slots[at].number != 0 && slots[at].key != key)
        at = (at + 1) & mask;
      if (slots[at].number == 0) {
        slots[at] = {key, static_cast<uint32_t>(++keys_)};
        new_rows[added++] = static_cast<uint32_t>(row);
      }
      numbers[row] = slots[at].number - 1;
    }
    return added;
  }

private:
  struct slot {
    Key key;
    uint32_t number; // the number plus 1; 0 in an empty slot
  };
  static constexpr size_t largest_at_first = size_t{1} << 20;
  static constexpr size_t fetched_before = 16; // rows

  size_t place(Key key) const { return hash_of(key) >> shift_; }

  void grow() {
    zeroed_array<slot> old(slots_.size() * 4);
    std::swap(old, slots_);
    shift_ -= 2;
    const size_t mask = slots_.size() - 1;
    for (const slot &s : old)
      if (s.number != 0) {
        size_t at = place(s.key);
        while (slots_[at].number != 0)
          at = (at + 1) & mask;
        slots_[at] = s;
      }
  }

  zeroed_array<slot> slots_;
  unsigned shift_ = 0;
  size_t keys_ = 0;
};

} // namespace store::exec
