#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tamsel::capture {

/// A character as dots: row by row from the top, the highest of the five bits on the left. Most stand on the seventh row.
using Glyph = std::array<std::uint8_t, 9>;

inline constexpr std::size_t glyphWidth = 5;
inline constexpr std::size_t glyphHeight = 9;

/// The characters of a UTF-8 text: those of ASCII, and a box for any other.
[[nodiscard]] std::vector<const Glyph*> glyphsOf(std::string_view text);

} // namespace tamsel::capture
