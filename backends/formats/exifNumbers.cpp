#include <formats/exifNumbers.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace tamsel::formats {

namespace {

constexpr std::int64_t millionths = 1'000'000;
constexpr std::size_t fractionDigits = 6;

/// The nearest fraction with a bounded numerator and denominator: the last convergent of the number's continued
/// fraction within the bounds, or the last mediant beyond it within the bounds.
Fraction nearestFraction(double number, std::uint32_t largest)
{
    const double bound = largest;
    double numerator = 1, lastNumerator = 0;
    double denominator = 0, lastDenominator = 1;
    double rest = number;
    for (int step = 0; step < 64; ++step) {
        const double whole = std::floor(rest);
        double times = whole;
        if (numerator > 0)
            times = std::min(times, std::floor((bound - lastNumerator) / numerator));
        if (denominator > 0)
            times = std::min(times, std::floor((bound - lastDenominator) / denominator));
        const double nextNumerator = times * numerator + lastNumerator;
        const double nextDenominator = times * denominator + lastDenominator;
        if (times < whole) {
            const bool isNearer = nextDenominator > 0
                && std::abs(nextNumerator / nextDenominator - number)
                    < std::abs(numerator / denominator - number);
            if (isNearer)
                return {
                    static_cast<std::uint32_t>(nextNumerator), static_cast<std::uint32_t>(nextDenominator)};
            break;
        }
        lastNumerator = std::exchange(numerator, nextNumerator);
        lastDenominator = std::exchange(denominator, nextDenominator);
        if (rest == whole || numerator / denominator == number)
            break;
        rest = 1 / (rest - whole);
    }
    return {static_cast<std::uint32_t>(numerator), static_cast<std::uint32_t>(denominator)};
}

std::optional<std::uint32_t> digits(std::string_view text)
{
    std::uint32_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || result.ec != std::errc{} || result.ptr != text.data() + text.size())
        return std::nullopt;
    return number;
}

std::string twoDigits(std::int64_t number)
{
    const std::string text = std::to_string(number);
    return text.size() < 2 ? std::string("0").append(text) : text;
}

} // namespace

Fraction fractionOf(double number, std::uint32_t largest)
{
    constexpr double precision = 1e-12;
    for (std::uint32_t denominator = 1;; denominator *= 10) {
        const double numerator = std::round(number * denominator);
        if (numerator <= largest && std::abs(numerator / denominator - number) <= number * precision)
            return {static_cast<std::uint32_t>(numerator), denominator};
        if (denominator > largest / 10)
            return nearestFraction(number, largest);
    }
}

FractionTriple coordinateOf(double degrees)
{
    // All in one integer, so that 59.9999999 seconds become the next minute.
    const auto all = static_cast<std::uint64_t>(std::llround(degrees * 3600 * millionths));
    constexpr std::uint64_t minute = 60 * millionths;
    const auto part = [](std::uint64_t number) { return static_cast<std::uint32_t>(number); };
    return {{{part(all / (60 * minute)), 1}, {part(all / minute % 60), 1}, {part(all % minute), millionths}}};
}

std::optional<std::string> clockText(const Triple& time)
{
    const double seconds = time[0] * 3600 + time[1] * 60 + time[2];
    if (!(seconds >= 0 && seconds < 24 * 3600 + 1))
        return std::nullopt;
    const std::int64_t all = std::llround(seconds * static_cast<double>(millionths));
    // A leap second is the 60th of the last minute.
    const std::int64_t minutes = std::min<std::int64_t>(all / (60 * millionths), 24 * 60 - 1);
    const std::int64_t rest = all - minutes * 60 * millionths;
    std::string text = twoDigits(minutes / 60);
    text.append(":").append(twoDigits(minutes % 60)).append(":").append(twoDigits(rest / millionths));
    if (rest % millionths == 0)
        return text;
    text.append(".").append(std::to_string(millionths + rest % millionths).substr(1));
    text.resize(text.find_last_not_of('0') + 1);
    return text;
}

std::optional<FractionTriple> clockFrom(std::string_view text)
{
    if (text.size() < 8 || text[2] != ':' || text[5] != ':' || (text.size() > 8 && text[8] != '.'))
        return std::nullopt;
    const auto hours = digits(text.substr(0, 2));
    const auto minutes = digits(text.substr(3, 2));
    const auto seconds = digits(text.substr(6, 2));
    if (!hours || !minutes || !seconds || *hours > 23 || *minutes > 59 || *seconds > 60)
        return std::nullopt;
    FractionTriple result{{{*hours, 1}, {*minutes, 1}, {*seconds, 1}}};
    if (text.size() == 8)
        return result;
    const std::string_view fraction = text.substr(9);
    const auto number = digits(fraction);
    if (!number || fraction.size() > fractionDigits)
        return std::nullopt;
    for (std::size_t index = 0; index < fraction.size(); ++index)
        result[2].denominator *= 10;
    result[2].numerator = *seconds * result[2].denominator + *number;
    return result;
}

} // namespace tamsel::formats
