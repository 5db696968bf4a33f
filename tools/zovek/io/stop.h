// A stop asked for from outside: the input then ends, and the output is finished as usual. On POSIX by any
// signal that would end the program without the program being at fault: INT and TERM, the closed terminal's
// HUP, QUIT, PIPE and XFSZ (what is written to takes no more), alarms, limits of time and the user's own. On
// Windows by Ctrl-C, Ctrl-Break and the closed window.
#pragma once
#include <functional>
#include <thread>

namespace client {
// From here on they stop the stream and not the program; signals that the parent ignores (nohup) stay
// ignored, but for INT and TERM. Waiting reads return at once. A second INT, TERM or QUIT ends the program as
// if nobody watched; of the others more than one come where one is meant. May be called again.
void watch_for_stop();
// The signal that asked for a stop, or 0.
int stop_signal();
// The program's exit status: 128 and that signal, or another one if there was none.
inline int exit_status(int otherwise = 0) { return stop_signal() ? 128 + stop_signal() : otherwise; }

// Work in a thread beside the main one, to which alone stops come, so that they interrupt what waits there.
// In this one a reader that has gone, or a limit of a file's size, is a failed write and no more.
std::jthread beside(std::function<void()> work);
} // namespace client
