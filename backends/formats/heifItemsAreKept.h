#pragma once

#include <formats/HeifItems.h>

namespace tamsel::formats {

/// Whether a rewritten HEIF file has all boxes and all items of the file before it, with the same bytes, but for the
/// EXIF item, which may be new and is not compared; and whether it has nothing else besides.
[[nodiscard]] bool heifItemsAreKept(
    ByteView before, const HeifItems& old, ByteView after, const HeifItems& anew);

} // namespace tamsel::formats
