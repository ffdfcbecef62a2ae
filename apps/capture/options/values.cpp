#include "options/values.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace tamsel::capture {

namespace {

template <typename Value> bool isWhollyRead(const std::string& given, Value& value)
{
    const char* end = given.data() + given.size();
    const auto result = std::from_chars(given.data(), end, value);
    return result.ec == std::errc{} && result.ptr == end;
}

std::string shown(double value)
{
    std::array<char, 400> digits{};
    return {digits.data(),
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed).ptr};
}

Parsed<std::uint64_t> wholeNumber(const std::string& given, std::uint64_t greatest)
{
    std::uint64_t value = 0;
    if (isWhollyRead(given, value) && value >= 1 && value <= greatest)
        return value;
    return std::unexpected("'" + given + "' is not a whole number from 1 to " + std::to_string(greatest));
}

} // namespace

Parsed<std::string> text(const std::string& given)
{
    return given;
}

Parsed<double> number(const std::string& given, const char* what, double least, double greatest)
{
    double value = 0;
    if (isWhollyRead(given, value) && std::isfinite(value) && value >= least && value <= greatest)
        return value;
    std::string range;
    if (std::isfinite(least))
        range = std::isfinite(greatest) ? " from " + shown(least) + " to " + shown(greatest)
                                        : ", " + shown(least) + " or more";
    return std::unexpected("'" + given + "' is not a number of " + what + range);
}

Parsed<double> secondsAboveZero(const std::string& given)
{
    return number(given, "seconds", 0.001, 1'000'000'000);
}

Parsed<std::int64_t> exifOrientation(const std::string& given)
{
    const auto value = wholeNumber(given, 8);
    if (!value)
        return std::unexpected(value.error());
    return static_cast<std::int64_t>(*value);
}

Parsed<std::uint64_t> count(const std::string& given)
{
    return wholeNumber(given, std::numeric_limits<std::uint32_t>::max());
}

} // namespace tamsel::capture
