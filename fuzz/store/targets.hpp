// The readers of what comes from outside, each on a fuzzer's input.  An expectation that fails, a sanitizer's report or
// an exception that is not a store::error is a fault.
//
// Choices are read from the end of an input and what they choose from its beginning, so that a text that somebody typed
// is an input as well.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <vorn/vorn.h>

namespace vorn_fuzz {

using input = FuzzedDataProvider;

// The contexts of calls for a run, at whose end the memory of the library is freed, and for what is kept for all runs.
const vorn_ctx &context();
const vorn_ctx &lasting_context();

// Once in 16 times, and never after the end of the input.
inline bool seldom(input &from) { return from.ConsumeIntegral<uint8_t>() >= 240; }

void arrow(input &from);
void blocks(input &from);
void csv(input &from);
void plans(input &from);
void saved(input &from);
void statements(input &from);
void values(input &from);

} // namespace vorn_fuzz
