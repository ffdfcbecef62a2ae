#include <host/bus/SensorProxy.h>

#include <host/HostServices.h>

#include <array>

namespace tamsel::host {

using platform::UIDeviceOrientation;
using platform::UIInterfaceOrientation;

namespace {

constexpr BusTarget proxy{"net.hadess.SensorProxy", "/net/hadess/SensorProxy", "net.hadess.SensorProxy"};

struct Orientation {
    std::string_view word;
    UIDeviceOrientation device;
    UIInterfaceOrientation interface;
};

/// The values of AccelerometerOrientation ("Sensor Proxy Reference Manual", net.hadess.SensorProxy). Each names the edge
/// that points up, for a person in front of the screen. With the right edge up the device's top is at the left, and its
/// home side, which names the interface's orientation, at the right.
constexpr std::array<Orientation, 5> orientations{{
    {"normal", UIDeviceOrientation::portrait, UIInterfaceOrientation::portrait},
    {"bottom-up", UIDeviceOrientation::portraitUpsideDown, UIInterfaceOrientation::portraitUpsideDown},
    {"right-up", UIDeviceOrientation::landscapeLeft, UIInterfaceOrientation::landscapeRight},
    {"left-up", UIDeviceOrientation::landscapeRight, UIInterfaceOrientation::landscapeLeft},
    {"undefined", UIDeviceOrientation::unknown, UIInterfaceOrientation::unknown},
}};

} // namespace

void SensorProxy::follow()
{
    bus_.match<&SensorProxy::readOrientation>(
        "type='signal',sender='net.hadess.SensorProxy',member='PropertiesChanged',"
        "arg0='net.hadess.SensorProxy'",
        *this);
    bus_.whenPresent<&SensorProxy::claim>(proxy.service, *this);
}

void SensorProxy::claim()
{
    bus_.call<&SensorProxy::claimed>(proxy, "ClaimAccelerometer", *this);
}

void SensorProxy::claimed(sd_bus_message*)
{
    bus_.getProperties<&SensorProxy::readOrientation>(proxy, *this);
}

/// A machine without an accelerometer keeps its orientation.
void SensorProxy::readOrientation(sd_bus_message* message)
{
    const BusProperties properties = readProperties(message);
    const auto* isThere = find<bool>(properties, "HasAccelerometer");
    const auto* word = find<std::string>(properties, "AccelerometerOrientation");
    if (!word || (isThere && !*isThere))
        return;
    for (const Orientation& orientation : orientations) {
        if (orientation.word != *word)
            continue;
        if (followed_.deviceOrientation)
            targets_.device.turn(orientation.device);
        if (followed_.interfaceOrientation && orientation.interface != UIInterfaceOrientation::unknown)
            targets_.application.turnWithDevice(orientation.interface);
    }
}

} // namespace tamsel::host
