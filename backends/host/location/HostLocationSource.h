#pragma once

#include <tamsel/platform/CLLocationManager.h>
#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace tamsel::host {

/// The address of a gpsd daemon.
struct GpsdAddress {
    std::string host; ///< a name, or an address without brackets
    std::uint16_t port = 2947;

    bool operator==(const GpsdAddress&) const = default;
};

/// The source of the host's location: the first one of these that is set, or none.
struct HostLocationSource {
    /// A fixed place. Its timestamp is ignored: each query returns the time of the query.
    std::optional<platform::CLLocation> fixed = std::nullopt;
    /// A daemon, read for as long as the host lives; its last fix.
    std::optional<GpsdAddress> gpsd = std::nullopt;

    /// Overrides the heading of the source.
    std::optional<platform::CLHeading> heading = std::nullopt;
};

/// "LAT,LON" or "LAT,LON,ALT" in decimal degrees and metres, with a default altitude of 0 and an accuracy of 0;
/// "gpsd:HOST:PORT" or "gpsd:HOST", with an IPv6 address in brackets. The error is one line that describes the problem,
/// also when this build has no gpsd support. Does not wait for the network.
[[nodiscard]] std::expected<HostLocationSource, platform::Error> parseLocation(std::string_view text);

/// Degrees clockwise from geographic north, from 0 to 360.
[[nodiscard]] std::expected<platform::CLHeading, platform::Error> parseHeading(std::string_view text);

} // namespace tamsel::host
