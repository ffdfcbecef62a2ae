#pragma once

#include <formats/TiffBlock.h>

#include <tamsel/platform/CGImageProperties.h>
#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <optional>
#include <vector>

namespace tamsel::formats {

/// What a new Exif directory states of itself beside the properties that it is made for.
enum class NewExif : std::uint8_t {
    plain, ///< its version
    jpeg, ///< also that of Flashpix, which EXIF demands of JPEG
    colourJpeg, ///< also that it has luminance and two colours
};

/// "Orientation" and the dictionaries "{TIFF}", "{Exif}" and "{GPS}" that have entries.
[[nodiscard]] platform::PropertyDictionary readExif(const TiffBlock& block);

/// What to change in the block, and what to put behind it, so that it states the properties over its own; nothing when
/// it does already. The error is one line.
[[nodiscard]] std::expected<std::vector<Splice>, platform::Error> changesOfExif(
    const TiffBlock& block, const platform::PropertyDictionary& properties, NewExif newExif);

} // namespace tamsel::formats
