#pragma once

#include <formats/TiffBlock.h>

namespace tamsel::formats {

/// How a stored picture is brought upright, numbered 1 to 8 as Exif does: 1 as it is, 2 mirrored left to right, 3 a half
/// turn, 4 mirrored top to bottom, 5 transposed, 6 a quarter turn clockwise, 7 transposed across the other diagonal, 8 a
/// quarter turn anticlockwise.
using Orientation = int;

inline constexpr Orientation upright = 1;

/// Whether rows become columns.
[[nodiscard]] constexpr bool isTransposed(Orientation orientation)
{
    return orientation >= 5;
}

/// The orientation that the number means; upright when it means none.
[[nodiscard]] constexpr Orientation orientationOf(double number)
{
    return number >= 1 && number <= 8 ? static_cast<Orientation>(number) : upright;
}

/// As the orientation tag of its first directory says; upright when that says nothing that is known.
[[nodiscard]] Orientation orientationOf(const TiffBlock& tiff);

/// The orientation in Exif data, with or without the six letters that JPEG files put in front of it.
[[nodiscard]] Orientation exifOrientation(ByteView exif);

} // namespace tamsel::formats
