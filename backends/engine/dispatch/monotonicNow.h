#pragma once

#include <chrono>

namespace tamsel::engine {

/// The monotonic clock that event sources, timers and capture times of real threads go by.
[[nodiscard]] inline std::chrono::nanoseconds monotonicNow()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

} // namespace tamsel::engine
