#pragma once

#include "support/Media.h"
#include "support/ReplacedServices.h"

#include <host/location/HostLocation.h>
#include <host/location/HostLocationSource.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace tamsel::tests {

/// What is wrong with a text that should name a location.
[[nodiscard]] inline std::string errorOf(const std::string& text)
{
    const auto source = host::parseLocation(text);
    return source ? "no error" : source.error().localizedDescription;
}

/// A host's location.
struct Place {
    explicit Place(host::HostLocationSource source)
        : location(std::make_unique<host::HostLocation>(std::move(source), clock)),
          manager(location->makeLocationManager())
    {
    }
    explicit Place(std::uint16_t port)
        : Place(host::HostLocationSource{.gpsd = host::GpsdAddress{.host = "127.0.0.1", .port = port}})
    {
    }

    bool waitForProblem(const std::string& end)
    {
        return waitUntil([&] { return location->problem().ends_with(end); });
    }

    ScriptedClock clock;
    std::unique_ptr<host::HostLocation> location;
    std::unique_ptr<platform::CLLocationManager> manager;
};

} // namespace tamsel::tests
