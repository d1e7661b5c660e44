// The probe of a hash table, in batches of rows and of candidates.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "store/join/bloom_map.hpp"
#include "store/join/hash_table.hpp"
#include "store/join/sizing.hpp"
#include <vorn/vorn.h>

namespace store {

// A row and a row of the table whose keys are probably equal: VORN_RIDVALUE.
struct candidate {
  uint64_t row;   // of the batch
  uint64_t built; // of the table
};

class prober {
public:
  // Context, table and map outlive this.  The map may be null.
  prober(const vorn_ctx &ctx, const hash_table &table, const bloom_map *map, const join_settings &settings);

  // Begins a batch of rows.  The hash values outlive its candidates.
  void open(std::span<const uint64_t> hashes);

  // The next candidates, rows of the batch in their order and the table's in theirs; none at its end.  Good until the
  // next call.
  std::span<const candidate> next();

  // What the map did.
  uint64_t tested() const { return rows_tested_; }
  uint64_t passed() const { return rows_passed_; }
  bool gave_up() const { return map_given_up_; }

private:
  void drop_rows_without_match();

  const vorn_ctx &ctx_;
  const hash_table &table_;
  const bloom_map *map_;
  bool must_test_; // whatever the map lets through
  uint64_t rows_tested_ = 0;
  uint64_t rows_passed_ = 0;
  bool map_given_up_ = false;
  bloom_map::room room_;

  // The batch.
  std::span<const uint64_t> probed_;
  bool numbered_ = true; // its rows are numbered from 0 on
  std::vector<uint64_t> passed_hashes_;
  std::vector<uint32_t> narrow_numbers_;
  std::vector<uint64_t> wide_numbers_;
  vorn_aux aux_{};
  bool at_end_ = true;
  std::vector<candidate> pairs_;
};

} // namespace store
