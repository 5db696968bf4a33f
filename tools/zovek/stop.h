// A stop asked for by the user (SIGINT, SIGTERM; on Windows Ctrl-C, Ctrl-Break and the closed window): the input then
// ends, and the output is finished as usual.
#pragma once

namespace client {
// From here on they stop the stream and not the program. Waiting reads return at once. A second one ends the program
// as if nobody watched.
void watch_for_stop();
// The signal that asked for a stop, or 0.
int stop_signal();
} // namespace client
