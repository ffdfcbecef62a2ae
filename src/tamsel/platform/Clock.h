#pragma once

#include <chrono>

namespace tamsel::platform {

/// Wall-clock and monotonic time. Thread-safe.
class Clock {
public:
    virtual ~Clock() = default;

    /// Seconds since 1970-01-01 00:00 UTC.
    [[nodiscard]] virtual double timeIntervalSince1970() const = 0;

    /// Time since a fixed but unspecified point; never decreases.
    [[nodiscard]] virtual std::chrono::nanoseconds monotonic() const = 0;
};

} // namespace tamsel::platform
