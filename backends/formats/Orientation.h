#pragma once

#include <formats/TiffBlock.h>

namespace tamsel::formats {

/// The transform that makes a stored picture upright, numbered 1 to 8 as in Exif: 1 none, 2 mirrored left to right, 3 a
/// half turn, 4 mirrored top to bottom, 5 transposed, 6 a quarter turn clockwise, 7 transposed across the other
/// diagonal, 8 a quarter turn anticlockwise.
using Orientation = int;

inline constexpr Orientation upright = 1;

/// Whether rows become columns.
[[nodiscard]] constexpr bool isTransposed(Orientation orientation)
{
    return orientation >= 5;
}

/// The orientation with this number; upright for any other number.
[[nodiscard]] constexpr Orientation orientationOf(double number)
{
    return number >= 1 && number <= 8 ? static_cast<Orientation>(number) : upright;
}

/// The orientation tag of its first directory; upright without a valid one.
[[nodiscard]] Orientation orientationOf(const TiffBlock& tiff);

/// The orientation in Exif data, with or without the six letters that precede it in JPEG files.
[[nodiscard]] Orientation exifOrientation(ByteView exif);

} // namespace tamsel::formats
