#pragma once

#include <tamsel/platform/CLLocationManager.h>

#include <memory>

namespace tamsel::platform {

/// Knows the place of the device. Thread-safe.
class LocationServices {
public:
    virtual ~LocationServices() = default;

    /// Asks for nothing.
    [[nodiscard]] virtual std::unique_ptr<CLLocationManager> makeLocationManager() = 0;
};

} // namespace tamsel::platform
