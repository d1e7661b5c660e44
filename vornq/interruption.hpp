// Handles Ctrl-C and other signals that end the program.
#pragma once

namespace store {

// After this call a signal that ends a program ends this program at once.  The status is 128 plus the number of the
// signal.  Incomplete files are removed, and the progress line is cleared.  If another program cuts a mapped file, this
// program ends with a message and status 2.
void end_cleanly_at_signals();

} // namespace store
