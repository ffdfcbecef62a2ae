#pragma once

#include <tamsel/platform/CLLocationManager.h>

#include <memory>

namespace tamsel::platform {

/// The location of the device. Thread-safe.
class LocationServices {
public:
    virtual ~LocationServices() = default;

    /// Starts nothing.
    [[nodiscard]] virtual std::unique_ptr<CLLocationManager> makeLocationManager() = 0;
};

} // namespace tamsel::platform
