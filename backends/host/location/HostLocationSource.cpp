#include <host/location/HostLocationSource.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cmath>
#include <utility>
#include <vector>

namespace tamsel::host {

using platform::CLHeading;
using platform::CLLocation;
using platform::Error;

namespace {

#ifdef TAMSEL_GPSD
constexpr bool knowsGpsd = true;
#else
constexpr bool knowsGpsd = false;
#endif

/// For an error's one line: short, and printable.
std::string inQuotes(std::string_view text)
{
    constexpr std::size_t longest = 60;
    std::string result = "'";
    for (const char character : text.substr(0, longest))
        result += std::iscntrl(static_cast<unsigned char>(character)) != 0 ? '?' : character;
    return result + (text.size() > longest ? "...'" : "'");
}

std::unexpected<Error> failure(std::string_view text, const std::string& what)
{
    return std::unexpected(Error{inQuotes(text) + " " + what});
}

/// Plain decimals, trimmed.
std::optional<double> numberFrom(std::string_view text)
{
    while (text.starts_with(' '))
        text.remove_prefix(1);
    while (text.ends_with(' '))
        text.remove_suffix(1);
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    double number = 0;
    const char* const begin = text.data();
    const char* const end = begin + text.size();
    const auto result = std::from_chars(begin, end, number, std::chars_format::fixed);
    if (result.ec != std::errc{} || result.ptr != end || !std::isfinite(number))
        return std::nullopt;
    return number;
}

std::expected<HostLocationSource, Error> parseFixed(std::string_view text)
{
    std::vector<double> numbers;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(',', at), text.size());
        const auto number = numberFrom(text.substr(at, end - at));
        if (!number)
            return failure(text, "is not a location: expected LAT,LON[,ALT] or gpsd:HOST[:PORT]");
        numbers.push_back(*number);
        at = end + 1;
    }
    if (numbers.size() < 2 || numbers.size() > 3)
        return failure(text, "is not a location: expected LAT,LON or LAT,LON,ALT");
    if (std::abs(numbers[0]) > 90)
        return failure(text, "is not a location: the latitude is beyond 90 degrees");
    if (std::abs(numbers[1]) > 180)
        return failure(text, "is not a location: the longitude is beyond 180 degrees");
    HostLocationSource source;
    source.fixed = CLLocation{.latitude = numbers[0],
        .longitude = numbers[1],
        .altitude = numbers.size() > 2 ? numbers[2] : 0,
        .horizontalAccuracy = 0,
        .timestamp = 0};
    return source;
}

std::expected<HostLocationSource, Error> parseGpsd(std::string_view text)
{
    if (!knowsGpsd)
        return std::unexpected(Error{"this build has no gpsd support"});
    std::string_view host = text;
    std::string_view port;
    bool hasPort = false;
    if (text.starts_with('[')) {
        const std::size_t close = text.find(']');
        if (close == std::string_view::npos || (close + 1 < text.size() && text[close + 1] != ':'))
            return failure(text, "is not an address: expected [ADDRESS]:PORT");
        host = text.substr(1, close - 1);
        hasPort = close + 1 < text.size();
        port = text.substr(close + (hasPort ? 2 : 1));
    } else if (const std::size_t colon = text.find(':'); colon != std::string_view::npos) {
        hasPort = true;
        host = text.substr(0, colon);
        port = text.substr(colon + 1);
        if (port.contains(':'))
            return failure(text, "is not an address: an IPv6 address needs brackets");
    }
    GpsdAddress address{.host = std::string(host)};
    if (host.empty() || host.contains('\0'))
        return failure(text, "is not an address: expected HOST or HOST:PORT");
    if (hasPort) {
        const auto result = std::from_chars(port.data(), port.data() + port.size(), address.port);
        if (result.ec != std::errc{} || result.ptr != port.data() + port.size() || address.port == 0)
            return failure(text, "is not an address: the port is a number from 1 to 65535");
    }
    HostLocationSource source;
    source.gpsd = std::move(address);
    return source;
}

} // namespace

std::expected<HostLocationSource, Error> parseLocation(std::string_view text)
{
    constexpr std::string_view gpsd = "gpsd:";
    if (text.starts_with(gpsd))
        return parseGpsd(text.substr(gpsd.size()));
    return parseFixed(text);
}

std::expected<CLHeading, Error> parseHeading(std::string_view text)
{
    const auto degrees = numberFrom(text);
    if (!degrees || *degrees < 0 || *degrees > 360)
        return failure(text, "is not a heading: expected degrees from 0 to 360");
    return CLHeading{.trueHeading = *degrees == 360 ? 0 : *degrees};
}

} // namespace tamsel::host
