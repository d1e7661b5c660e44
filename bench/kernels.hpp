// Shared parts of the benchmarks: the implementations that can run here, slots by their axes, and data.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "frame/vorn.h"
#include "generic/table/slot_bits.hpp"
#include "host/aligned.hpp"
#include "host/stand_in.hpp"

namespace vorn_bench {

// Streams and results begin on a cache line.
using word_vector = vorn_host::aligned_vector<uint64_t>;

inline constexpr uint64_t cached_rows = 65536;
inline constexpr uint64_t stream_bytes = 256U << 20;

struct implementation {
  std::string name;
  const vorn_global_ctx_t *record;

  const vorn_kernel *table() const { return record->vorn_global_ctx_dispatch; }
};

vorn_host::environment &environment();

// The generic implementation and every specialised library that can run here.  Benchmarks call the kernels of each
// implementation directly, without putting its record in force.
std::vector<implementation> implementations();

// Random bytes: codes and values of every width are uniformly distributed.
const word_vector &random_words();

// A bit vector of nbits bits.  About per_cent percent of them are set.
word_vector random_bits(uint64_t nbits, unsigned per_cent);

struct slot_axes : vorn::slot_bits {
  unsigned width() const { return static_cast<unsigned>(std::stoul(vorn_datawidth_name(width_code()))); }
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
