// What happens when a user ends the program with Ctrl-C.
#pragma once

namespace store {

// From here on the signals that end a program end this one at once, with 128 and the number of the signal as its
// status.  Files that are not whole are removed, and the progress line is wiped.
void end_cleanly_at_signals();

} // namespace store
