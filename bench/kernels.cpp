// Finds the implementations that can run here, and makes random data.
#include "bench/kernels.hpp"

#include <algorithm>
#include <functional>
#include <random>

#include "frame/vorn_specialized.h"

namespace vorn_bench {

vorn_host::environment &environment() {
  static vorn_host::environment env;
  return env;
}

std::vector<implementation> implementations() {
  std::vector<implementation> found = {{"generic", &vorn_global_ctx}};
  vorn_ctx ctx = environment().context();
  const auto add = [&](uint32_t capability, const char *name) {
    uint32_t answer[3] = {};
    void *handle = nullptr;
    if (cpucap_query(capability, answer) != 0 || answer[2] != 1 || svorn_dlopen(&ctx, name, &handle) == 0)
      return;
    const auto *record = static_cast<const vorn_global_ctx_t *>(svorn_dlsym(&ctx, handle, VORN_SPECIALIZED_SYMBOL));
    found.push_back({name, record});
  };
#define VORN_ADD(capability, name) add(capability, name);
  VORN_SPECIALIZED_LIBRARIES(VORN_ADD)
  return found;
}

const word_vector &random_words() {
  static const word_vector words = [] {
    word_vector filled(stream_bytes / 8 + 8);
    std::mt19937_64 random(42);
    std::generate(filled.begin(), filled.end(), std::ref(random));
    return filled;
  }();
  return words;
}

word_vector random_bits(uint64_t nbits, unsigned per_cent) {
  word_vector bits((nbits + 63) / 64);
  std::mt19937_64 random(7);
  for (uint64_t i = 0; i < nbits; ++i)
    bits[i / 64] |= uint64_t{random() % 100 < per_cent} << i % 64;
  return bits;
}

} // namespace vorn_bench
