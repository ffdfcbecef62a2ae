#include <host/bus/SensorProxy.h>

#include <host/bus/orientationWords.h>

#include <utility>

namespace tamsel::host {

namespace {

constexpr BusTarget proxy{"net.hadess.SensorProxy", "/net/hadess/SensorProxy", "net.hadess.SensorProxy"};
constexpr BusTarget proxyProperties{proxy.service, proxy.path, "org.freedesktop.DBus.Properties"};

} // namespace

SensorProxy::SensorProxy(SystemBus& bus, std::function<void(platform::UIDeviceOrientation)> turned)
    : bus_(bus),
      turned_(std::move(turned))
{
}

void SensorProxy::follow()
{
    bus_.match<&SensorProxy::ownerChanged>(ownerRule(proxy.service), *this);
    bus_.match<&SensorProxy::propertiesChanged>(
        "type='signal',sender='net.hadess.SensorProxy',member='PropertiesChanged',"
        "arg0='net.hadess.SensorProxy'",
        *this);
    claim();
}

void SensorProxy::claim()
{
    bus_.call<&SensorProxy::claimed>(proxy, "ClaimAccelerometer", *this);
}

void SensorProxy::ownerChanged(sd_bus_message* message)
{
    if (hasNewOwner(message))
        claim();
}

void SensorProxy::claimed(sd_bus_message*)
{
    bus_.call<&SensorProxy::readOrientation>(proxyProperties, "GetAll", *this, "s", proxy.interface);
}

void SensorProxy::propertiesChanged(sd_bus_message* message)
{
    if (sd_bus_message_skip(message, "s") >= 0)
        readOrientation(message);
}

/// A machine without an accelerometer keeps its orientation.
void SensorProxy::readOrientation(sd_bus_message* message)
{
    const BusProperties properties = readProperties(message);
    const auto* isThere = find<bool>(properties, "HasAccelerometer");
    const auto* word = find<std::string>(properties, "AccelerometerOrientation");
    if (!word || (isThere && !*isThere))
        return;
    if (const auto orientation = orientationFrom(*word))
        turned_(*orientation);
}

} // namespace tamsel::host
