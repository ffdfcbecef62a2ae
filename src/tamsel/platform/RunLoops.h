#pragma once

#include <tamsel/platform/RunLoop.h>

namespace tamsel::platform {

/// Gives access to the run loop of the calling thread. Thread-safe.
class RunLoops {
public:
    virtual ~RunLoops() = default;

    /// The calling thread's loop, made on first use.
    [[nodiscard]] virtual RunLoop& current() = 0;
};

} // namespace tamsel::platform
