#include "stop.h"
#include <csignal>

namespace client {
static volatile std::sig_atomic_t asked = 0;

void watch_for_stop()
{
    struct sigaction action = {};
    action.sa_handler = [](int signal) { asked = signal; };
    action.sa_flags = static_cast<int>(SA_RESETHAND); // without SA_RESTART: a read that waits is interrupted
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int stop_signal() { return asked; }
} // namespace client
