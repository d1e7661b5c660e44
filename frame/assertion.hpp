// Fatal assertions of the library.  They guard what only a wrong program can break, so they stay in every build.
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

// The text is printed as the failed expression.  It is told apart from the condition, which may be wider than it reads.
#define VORN_ASSERT(condition, text, source)                                                                           \
  ((condition) ? void(0) : vorn::fail_assertion(text, source, __LINE__, __func__))
// Marks a place that no legal call reaches.
#define VORN_UNREACHABLE(source) vorn::fail_assertion("0", source, __LINE__, __func__)
