#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tamsel::formats {

/// A number in EXIF.
struct Fraction {
    std::uint32_t numerator = 0;
    std::uint32_t denominator = 1;
};

/// Hours or degrees, minutes, seconds.
using Triple = std::array<double, 3>;
/// The same as fractions.
using FractionTriple = std::array<Fraction, 3>;

/// The fraction for a number whose numerator and denominator are at most `largest`: with the smallest power of ten as
/// denominator that is exact to 1e-12 of its value, or else the nearest one. The number must be between 0 and
/// `largest`.
[[nodiscard]] Fraction fractionOf(double number, std::uint32_t largest);

/// Degrees, minutes below 60 and seconds below 60, to a millionth of a second. The degrees must be between 0 and 180.
[[nodiscard]] FractionTriple coordinateOf(double degrees);

/// "HH:mm:ss", or with up to six digits of a fraction; absent for an invalid time of day.
[[nodiscard]] std::optional<std::string> clockText(const Triple& time);
/// Absent for a text that is not in the form of `clockText`.
[[nodiscard]] std::optional<FractionTriple> clockFrom(std::string_view text);

} // namespace tamsel::formats
