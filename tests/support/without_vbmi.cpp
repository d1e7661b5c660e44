// Stands for the look-up of a processor without VBMI.
#include "isa/avx512/processor.hpp"

namespace vorn::inline VORN_LEVEL {

bool has_vbmi = false;

} // namespace vorn::inline VORN_LEVEL
