// Finds the extensions of the processor while the library is loaded.
#include "isa/avx512/processor.hpp"

namespace vorn::inline VORN_LEVEL {

bool has_vbmi = false;

namespace {

[[gnu::constructor]] void look_up() {
  __builtin_cpu_init();
  has_vbmi = __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
             __builtin_cpu_supports("avx512bitalg") && __builtin_cpu_supports("avx512vpopcntdq");
}

} // namespace

} // namespace vorn::inline VORN_LEVEL
