// What happens when a user ends the program with Ctrl-C, and at other signals.
#pragma once

namespace store {

// From here on the signals that end a program end this one at once, with 128 and the number of the signal as its
// status.  Files that are not whole are removed, and the progress line is wiped.  A mapped file that another program
// cuts ends this one with a message and status 2.
void end_cleanly_at_signals();

} // namespace store
