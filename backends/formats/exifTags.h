#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace tamsel::formats {

/// The format of a tag's value, and the kind of its property.
enum class ExifForm : std::uint8_t {
    text, ///< ASCII; text
    byte, ///< BYTE; an integer or a list of them
    shortInteger, ///< SHORT; likewise
    size, ///< SHORT or LONG; likewise
    longInteger, ///< LONG; likewise
    rational, ///< RATIONAL; a real or a list of them
    signedRational, ///< SRATIONAL; likewise
    bytes, ///< UNDEFINED; bytes
    version, ///< four digits as UNDEFINED; text
    coordinate, ///< degrees, minutes and seconds as RATIONAL; one unsigned real in degrees
    clock, ///< hours, minutes and seconds as RATIONAL; text "HH:mm:ss", with a fraction if there is one
};

/// A tag that is a property.
struct ExifTag {
    std::string_view name; ///< the key of the property
    std::uint16_t tag = 0;
    ExifForm form{};
    std::size_t count = 1; ///< of values; 0 for any number. Not used for text.
};

/// The directory of a tag.
enum class ExifGroup : std::uint8_t { tiff, exif, gps };

/// The tags that are properties: those of EXIF 2.32 (CIPA DC-008-2019), section 4.6, except the ones that describe how
/// the picture is stored, which no property may change, and the maker note, whose format only its maker knows.
[[nodiscard]] std::span<const ExifTag> exifTags(ExifGroup group);

} // namespace tamsel::formats
