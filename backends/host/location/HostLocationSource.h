#pragma once

#include <tamsel/platform/CLLocationManager.h>
#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace tamsel::host {

/// Where a gpsd daemon listens.
struct GpsdAddress {
    std::string host; ///< a name, or an address without brackets
    std::uint16_t port = 2947;

    bool operator==(const GpsdAddress&) const = default;
};

/// Where the host's location comes from: from the first of these that is there, or from nowhere.
struct HostLocationSource {
    /// A place that does not change. Its timestamp is ignored: each query returns the time of the query.
    std::optional<platform::CLLocation> fixed = std::nullopt;
    /// A daemon that is asked for as long as the host lives; its last fix.
    std::optional<GpsdAddress> gpsd = std::nullopt;

    /// Stands above what the source says of where the device points to.
    std::optional<platform::CLHeading> heading = std::nullopt;
};

/// "LAT,LON" or "LAT,LON,ALT" in decimal degrees and metres, an altitude of 0 where it is not said, and an accuracy of 0;
/// "gpsd:HOST:PORT" or "gpsd:HOST", with an IPv6 address in brackets. The error is one
/// line that says what is wrong, also when this build knows no gpsd. Does not wait for the network.
[[nodiscard]] std::expected<HostLocationSource, platform::Error> parseLocation(std::string_view text);

/// Degrees clockwise from geographic north, from 0 to 360.
[[nodiscard]] std::expected<platform::CLHeading, platform::Error> parseHeading(std::string_view text);

} // namespace tamsel::host
