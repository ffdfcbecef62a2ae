#pragma once

#include <memory>
#include <optional>

namespace tamsel::platform {

/// A fix: where the device was, and when.
struct CLLocation {
    double latitude = 0; ///< degrees, north above zero (WGS 84)
    double longitude = 0; ///< degrees, east above zero
    double altitude = 0; ///< metres above mean sea level
    double horizontalAccuracy = 0; ///< metres
    double timestamp = 0; ///< seconds since 1970-01-01 00:00 UTC

    bool operator==(const CLLocation&) const = default;
};

/// The direction in which the device points.
struct CLHeading {
    double trueHeading = 0; ///< degrees clockwise from geographic north

    bool operator==(const CLHeading&) const = default;
};

/// The known location of the device; queries start nothing. Thread-safe.
class CLLocationManager {
public:
    virtual ~CLLocationManager() = default;

    /// The last known fix; absent when there is none.
    [[nodiscard]] virtual std::optional<CLLocation> location() const = 0;
    /// Absent when it is unknown.
    [[nodiscard]] virtual std::optional<CLHeading> heading() const = 0;
};

} // namespace tamsel::platform
