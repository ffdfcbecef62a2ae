#pragma once

#include <host/bus/Bus.h>
#include <host/bus/followSystem.h>

namespace tamsel::host {

/// Turns the device, and the interface where that is followed, as iio-sensor-proxy reports it. On the queue of the bus.
class SensorProxy {
public:
    /// The bus must be released before it.
    SensorProxy(Bus& bus, const FollowedEvents& followed, const SystemEventTargets& targets)
        : bus_(bus),
          followed_(followed),
          targets_(targets)
    {
    }

    void follow();

private:
    void claim();
    void claimed(sd_bus_message* reply);
    void readOrientation(sd_bus_message* message);

    Bus& bus_;
    const FollowedEvents followed_;
    const SystemEventTargets targets_;
};

} // namespace tamsel::host
