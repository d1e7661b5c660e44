// Fatal assertions of the library.  Only a wrong program can fail one, so they stay in every build.
#pragma once

#undef NDEBUG // __assert_fail is declared only without it
#include <cassert>
#include <cstdint>

#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

[[noreturn]] inline void fail_assertion(const char *expression, const char *source, unsigned line,
                                        const char *function) {
  __assert_fail(expression, source, line, function);
}

// Names a wrong number, such as a width, after the function: "vorn_convert_width(33): Assertion `0' failed".  The
// library does without the formatted output of the C library.
[[noreturn, gnu::noinline, gnu::cold]] inline void fail_for_number(int64_t number, const char *source, unsigned line,
                                                                   const char *function) {
  char call[64] = {}; // a name and "(-9223372036854775808)"
  unsigned length = 0;
  for (; *function != 0 && length < 40; ++function)
    call[length++] = *function;
  call[length++] = '(';
  if (number < 0)
    call[length++] = '-';
  uint64_t rest = number < 0 ? 0 - static_cast<uint64_t>(number) : static_cast<uint64_t>(number);
  uint64_t unit = 1;
  while (rest / unit > 9)
    unit *= 10;
  for (; unit != 0; rest %= unit, unit /= 10)
    call[length++] = static_cast<char>('0' + rest / unit);
  call[length] = ')';
  fail_assertion("0", source, line, call);
}

} // namespace vorn::inline VORN_LEVEL

// Prints the text as the failed expression.  The text is a parameter because it may differ from the condition.
#define VORN_ASSERT(condition, text, source)                                                                           \
  ((condition) ? void(0) : vorn::fail_assertion(text, source, __LINE__, __func__))
// Marks a place that only a wrong number leads to.
#define VORN_INVALID_NUMBER(number, source) vorn::fail_for_number(number, source, __LINE__, __func__)
