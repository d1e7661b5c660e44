// Numbers for distinct texts: 0, 1, ... in the order of their first appearance.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "store/chunk/vector.hpp"
#include "store/operator/number_table.hpp"

namespace store::exec {

class text_table {
public:
  text_table() : slots_(1024) {}

  // The number of each text of a vector.  A row with NULL gets any number.
  void find(const vector &texts, std::span<uint32_t> numbers);

private:
  struct slot {
    uint64_t hash;
    uint32_t number; // the number plus 1; 0 in an empty slot
  };

  uint32_t number_of(std::string_view text);
  std::string_view kept(std::string_view text);
  void grow();

  zeroed_array<slot> slots_;
  std::vector<std::string_view> texts_;         // by their numbers
  std::vector<std::unique_ptr<char[]>> blocks_; // the bytes of the texts
  char *free_ = nullptr;                        // in the last block
  size_t left_ = 0;
};

} // namespace store::exec
