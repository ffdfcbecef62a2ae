#pragma once

#include <host/bus/SystemBus.h>

#include <tamsel/platform/UIDevice.h>

#include <functional>

namespace tamsel::host {

/// Reads the orientation of the device from iio-sensor-proxy. On the queue of the bus.
class SensorProxy {
public:
    /// The bus must be released before it.
    SensorProxy(SystemBus& bus, std::function<void(platform::UIDeviceOrientation)> turned);

    /// Claims the accelerometer, now and whenever the service appears.
    void follow();

private:
    void claim();
    void ownerChanged(sd_bus_message* message);
    void claimed(sd_bus_message* reply);
    void propertiesChanged(sd_bus_message* message);
    void readOrientation(sd_bus_message* message);

    SystemBus& bus_;
    const std::function<void(platform::UIDeviceOrientation)> turned_;
};

} // namespace tamsel::host
