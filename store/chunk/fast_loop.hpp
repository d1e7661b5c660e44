// Loops over rows, in the best instructions that the processor has.
//
// The program runs on every processor of its architecture, so the compiler may not use AVX2 and the instructions for
// bits elsewhere.  Results are the same: vector loops of integers are exact, and additions of doubles stay in order.
#pragma once

namespace store::exec {

#if defined(__x86_64__)
inline const bool has_avx2 = __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("bmi") != 0 &&
                             __builtin_cpu_supports("bmi2") != 0 && __builtin_cpu_supports("popcnt") != 0;

// The compiler copies the loop, and all that it calls, into this function.  FMA is not among the instructions.
template <class Loop>
[[gnu::target("avx2,bmi,bmi2,popcnt"), gnu::flatten, gnu::noinline]] auto run_with_avx2(const Loop &loop) {
  return loop();
}
#endif

// Calls a short function with a loop.  The function holds by value what it reads.
template <class Loop>
auto fast_loop(const Loop &loop) {
#if defined(__x86_64__)
  if (has_avx2)
    return run_with_avx2(loop);
#endif
  return loop();
}

} // namespace store::exec
