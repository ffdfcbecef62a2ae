#pragma once

#include <signal.h>

namespace tamsel::capture {

/// The signals that ask the program to end.
[[nodiscard]] inline sigset_t endingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM})
        sigaddset(&signals, signal);
    return signals;
}

} // namespace tamsel::capture
