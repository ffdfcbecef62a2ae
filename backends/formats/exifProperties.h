#pragma once

#include <formats/TiffBlock.h>

#include <tamsel/platform/CGImageProperties.h>
#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <optional>
#include <vector>

namespace tamsel::formats {

/// The entries of a new Exif directory besides the properties that it is made for.
enum class NewExif : std::uint8_t {
    plain, ///< its version
    jpeg, ///< also that of Flashpix, which EXIF requires for JPEG
    colourJpeg, ///< also that it has luminance and two colours
};

/// "Orientation" and the dictionaries "{TIFF}", "{Exif}" and "{GPS}" that have entries.
[[nodiscard]] platform::PropertyDictionary readExif(const TiffBlock& block);

/// The changes of the block, and the bytes to append, that set the given properties over its own; empty if it has them
/// already. The error is one line.
[[nodiscard]] std::expected<std::vector<Splice>, platform::Error> changesOfExif(
    const TiffBlock& block, const platform::PropertyDictionary& properties, NewExif newExif);

} // namespace tamsel::formats
