#pragma once

#include <engine/dispatch/monotonicNow.h>

#include <chrono>
#include <optional>

namespace tamsel::host {

/// Devices deliver sound without gaps, and their timestamps jitter: some are the times of reading, not of capture. So
/// each piece follows the one before and moves slowly towards its own timestamp; after a real gap, when the timestamps
/// stay far off, it is positioned again.
class DeviceClock {
    using nanoseconds = std::chrono::nanoseconds;

public:
    /// The capture time of a piece, on the monotonic clock, from the age of its first sample by the device. An age in the
    /// future or the distant past is not used: it may be of a clock that can be changed, and some devices do not say it.
    [[nodiscard]] nanoseconds place(nanoseconds age, nanoseconds duration)
    {
        const bool isPlausible = age >= duration && age < oldest;
        const nanoseconds measured = engine::monotonicNow() - (isPlausible ? age : duration);
        nanoseconds begin = measured;
        if (end_) {
            const nanoseconds error = measured - *end_;
            farFor_ = std::chrono::abs(error) < farOff ? nanoseconds() : farFor_ + duration;
            if (farFor_ < patience)
                begin = *end_ + (farFor_ > nanoseconds() ? nanoseconds() : error / slowness);
            else
                farFor_ = {};
        }
        end_ = begin + duration;
        return begin;
    }

private:
    static constexpr nanoseconds oldest = std::chrono::seconds(2);
    static constexpr nanoseconds farOff = std::chrono::milliseconds(100);
    static constexpr nanoseconds patience = std::chrono::milliseconds(300);
    static constexpr int slowness = 50;

    std::optional<nanoseconds> end_; ///< of the previous piece
    nanoseconds farFor_{};
};

} // namespace tamsel::host
