#pragma once

#include <cstdint>
#include <limits>

namespace tamsel::platform {

/// A time as a fraction: value / timescale seconds. A timescale of 0 means that the time is unknown.
struct CMTime {
    std::int64_t value = 0;
    std::int32_t timescale = 0;

    [[nodiscard]] bool isValid() const { return timescale != 0; }

    /// NaN when the time is unknown.
    [[nodiscard]] double seconds() const
    {
        return isValid() ? static_cast<double>(value) / timescale : std::numeric_limits<double>::quiet_NaN();
    }

    bool operator==(const CMTime&) const = default;
};

} // namespace tamsel::platform
