#pragma once

#include <chrono>

namespace tamsel::engine {

/// The monotonic clock of event sources, timers and capture times on real threads.
[[nodiscard]] inline std::chrono::nanoseconds monotonicNow()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

} // namespace tamsel::engine
