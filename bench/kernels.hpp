// What the benchmarks share: the implementations that can run here, slots by their axes, and data.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "frame/vorn.h"
#include "host/stand_in.hpp"
#include "store/encode/aligned.hpp"

namespace vorn_bench {

// Streams and results begin on a cache line, as those of a store do.
using word_vector = store::aligned_vector<uint64_t>;

inline constexpr uint64_t cached_rows = 65536;
inline constexpr uint64_t stream_bytes = 256U << 20;

struct implementation {
  std::string name;
  const vorn_global_ctx_t *record;

  const vorn_kernel *table() const { return record->vorn_global_ctx_dispatch; }
};

vorn_host::environment &environment();

// The generic table and those of the specialised libraries that can run here, all at once: benchmarks call the kernels
// of a table without putting its record in force.
std::vector<implementation> implementations();

// Random bytes: uniformly distributed codes and values at every width.
const word_vector &random_words();

// A bit vector of nbits bits of which about per_cent are set.
word_vector random_bits(uint64_t nbits, unsigned per_cent);

struct slot_axes {
  uint32_t index;
  uint32_t opcode() const { return index & 31; }
  uint32_t encoding() const { return index >> 5 & 3; }
  bool flag() const { return index >> 12; }
  unsigned width() const { return static_cast<unsigned>(std::stoul(vorn_datawidth_name(index >> 7 & 31))); }
  bool range() const { return opcode() >= VORN_OPC_GT_LT && opcode() <= VORN_OPC_GE_LE; }
  const char *name() const { return vorn_dispatch_func_names[index]; }
};

// "group/subject/implementation"
inline std::string name_of(const std::string &group, const std::string &subject, const implementation &which) {
  return group + "/" + subject + "/" + which.name;
}

void add_scans(const std::vector<implementation> &found);
void add_decoders(const std::vector<implementation> &found);
void add_bit_vectors(const std::vector<implementation> &found);
void add_expressions(const std::vector<implementation> &found);
void add_joins(const std::vector<implementation> &found);

} // namespace vorn_bench
