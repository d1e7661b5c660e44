#include "store/join/sizing.hpp"

#include <unistd.h>

#include "store/encode/encoded.hpp"

namespace store {

namespace {

uint64_t cache_bytes() {
  const long bytes = sysconf(_SC_LEVEL2_CACHE_SIZE);
  constexpr uint64_t unless_known = 1 << 20;
  return bytes > 0 ? static_cast<uint64_t>(bytes) : unless_known;
}

} // namespace

const char *layout_name(uint32_t layout) {
  return layout == VORN_HT_K2V8 ? "k2v8" : layout == VORN_HT_K2V4 ? "k2v4" : layout == VORN_HT_K4V8 ? "k4v8" : "k4v4";
}

table_shape shape_of(uint64_t keys, const join_settings &settings) {
  table_shape out{};
  out.layout = settings.layout.value_or(0);
  out.partition_bits = settings.partition_bits.value_or(0);
  constexpr uint64_t as_settled = 0;
  expect_encoded(vornenc_size_table(&out, keys, settings.partition_bits ? as_settled : cache_bytes()));
  out.first_overflow = settings.overflow_buckets.value_or(out.first_overflow);
  out.area_records = settings.area_records.value_or(out.area_records);
  return out;
}

// A test costs a fraction of a probe, so a map that stops less than one row in eight is none.
bool is_worth_testing(uint64_t passed, uint64_t tested) {
  constexpr uint64_t enough = 65536; // rows, to tell
  return tested < enough || passed < tested / 8 * 7;
}

} // namespace store
