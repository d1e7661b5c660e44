// Fatal assertions of the library.  Only a wrong program can fail one, so they stay in every build.
#pragma once

#undef NDEBUG // __assert_fail is declared only without it
#include <cassert>

#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

[[noreturn]] inline void fail_assertion(const char *expression, const char *source, unsigned line,
                                        const char *function) {
  __assert_fail(expression, source, line, function);
}

} // namespace vorn::inline VORN_LEVEL

// Prints the text as the failed expression.  The text is a parameter because it may differ from the condition.
#define VORN_ASSERT(condition, text, source)                                                                           \
  ((condition) ? void(0) : vorn::fail_assertion(text, source, __LINE__, __func__))
// Marks a place that no legal call reaches.
#define VORN_UNREACHABLE(source) vorn::fail_assertion("0", source, __LINE__, __func__)
