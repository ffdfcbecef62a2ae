#pragma once

#include "endingSignals.h"

#include <ctime>

namespace tamsel::capture {

/// Blocks the signals that end the program, for work that polls for them between two steps. Create it on the main thread,
/// where nothing else handles signals.
class PendingInterrupt {
public:
    PendingInterrupt() { pthread_sigmask(SIG_BLOCK, &signals_, &before_); }
    ~PendingInterrupt()
    {
        (void)isAsked(); // consumes a late signal
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    PendingInterrupt(const PendingInterrupt&) = delete;
    PendingInterrupt& operator=(const PendingInterrupt&) = delete;

    /// Whether a signal has asked the program to end.
    [[nodiscard]] bool isAsked()
    {
        const timespec now{};
        while (sigtimedwait(&signals_, nullptr, &now) > 0)
            isAsked_ = true;
        return isAsked_;
    }

private:
    const sigset_t signals_ = endingSignals();
    sigset_t before_{};
    bool isAsked_ = false;
};

} // namespace tamsel::capture
