// A hash join: the orders of known customers.  The customers are inserted into a hash table.  The table asks for
// overflow buckets when it is full.  The orders are looked up with room for a few pairs at a time.  Both calls resume
// where they stopped.
#include "minimal_host.h"

#include <array>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr uint32_t customers = 20, orders = 12, pairs_at_once = 5;

uint32_t customer_id(uint32_t customer) { return 1000 + 17 * customer; }
uint32_t ordered_by(uint32_t order) { return 1000 + order * 85 % 391; }

// The library has no hash function of its own: FNV-1a, with a final mix that spreads it over all 64 bits.
uint64_t hash(const void *data, uint64_t length, uint64_t seed) {
  uint64_t h = seed ^ 0xcbf29ce484222325;
  for (uint64_t i = 0; i < length; ++i)
    h = (h ^ static_cast<const uint8_t *>(data)[i]) * 0x100000001b3;
  h = (h ^ h >> 33) * 0xff51afd7ed558ccd;
  return h ^ h >> 33;
}

struct alignas(64) bucket {
  uint8_t bytes[64];
};

// A hash table with its memory: two buckets of six slots, and overflow buckets on request.  Records of the library
// point into the object, so it must not move.
class join_table {
public:
  join_table() {
    // With tags of 32 bits the bucket number begins at bit 32 of a hash value.  Two buckets need one bit; there is one
    // partition.
    vorn_build_hash_table(&table_, tables_.data(), nullptr, cursor_.data(), end_.data(), 32, 33, 32, VORN_HT_K4V4);
  }
  join_table(const join_table &) = delete;
  join_table &operator=(const join_table &) = delete;

  void add_overflow() {
    overflow_.push_back(std::make_unique<bucket>());
    cursor_[0] = overflow_.back().get();
    end_[0] = overflow_.back().get() + 1;
  }

  size_t overflow_buckets() const { return overflow_.size(); }
  vorn_hash_table *get() { return &table_; }

private:
  std::array<bucket, 2> buckets_ = {};
  std::vector<std::unique_ptr<bucket>> overflow_;
  std::array<void *, 1> tables_ = {buckets_.data()}, cursor_ = {}, end_ = {};
  vorn_hash_table table_ = {};
};

// A vector with its encoding context.  The context must live as long as the vector.
struct column {
  column() = default;
  column(const column &) = delete;
  column &operator=(const column &) = delete;

  vorn_enc_ctx encoding = {};
  vorn_cv vector = {};
};

// Keys of 32 bits.  Both sides have them in the same order of bytes; which one does not matter to a hash.
template <size_t Rows>
void fill_keys(column &keys, std::array<uint32_t, Rows> &values, uint32_t (*key)(uint32_t)) {
  for (uint32_t row = 0; row < Rows; ++row)
    values[row] = key(row);
  vorn_build_encoding_type_fixed(&keys.encoding, 32, 0);
  vorn_build_vector(&keys.vector, values.data(), nullptr, nullptr, &keys.encoding, nullptr, nullptr, Rows, 0, nullptr,
                    0);
}

} // namespace

int main(int argc, char **argv) {
  const vorn_ctx ctx = minimal_host_start(argc, argv);
  std::array<uint32_t, customers> ids = {};
  std::array<uint32_t, orders> wanted = {};
  column build_keys, probe_keys, row_numbers;
  fill_keys(build_keys, ids, customer_id);
  fill_keys(probe_keys, wanted, ordered_by);
  vorn_build_encoding_type_autorid(&row_numbers.encoding);
  row_numbers.vector.vorn_cv_encoding_context = &row_numbers.encoding; // row i is number i, nothing is stored

  join_table table;
  vorn_aux build = {};
  while (vorn_ht_build(&ctx, table.get(), &build_keys.vector, &row_numbers.vector, -1, hash, &build) ==
         VORN_RESULT_NO_OVERFLOW)
    table.add_overflow();
  std::printf("%u customers in 2 buckets and %zu more\n", customers, table.overflow_buckets());

  struct {
    uint64_t order, customer;
  } pairs[pairs_at_once];
  vorn_cv res = {};
  res.vorn_cv_vals = pairs;
  vorn_aux probe = {};
  uint32_t calls = 0, found = 0, expected = 0, code = 0;
  do {
    res.vorn_cv_nrows = pairs_at_once;
    code = vorn_ht_probe(&ctx, &res, &probe_keys.vector, &row_numbers.vector, table.get(), hash, &probe);
    ++calls;
    for (uint32_t i = 0; i < res.vorn_cv_nrows; ++i) {
      const auto [order, customer] = pairs[i];
      if (wanted[order] != ids[customer]) // only the tags are equal
        continue;
      std::printf("order %u of customer %u\n", unsigned(order), unsigned(customer));
      ++found;
    }
  } while (code == VORN_RESULT_PROBE_FULL);
  std::printf("%u orders in %u calls\n", found, calls);
  for (const uint32_t id : wanted)
    for (const uint32_t customer : ids)
      expected += id == customer;
  return found == expected ? 0 : 1;
}
