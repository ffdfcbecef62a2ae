#pragma once

#include <formats/fileBytes.h>

#include <cstdint>
#include <vector>

namespace tamsel::formats {

/// A number in a maker note with the offset of a preview, which some cameras store behind the picture.
struct PreviewPointer {
    std::size_t place = 0; ///< the offset of its four bytes in the EXIF
    ByteOrder order{};
    std::uint32_t offset = 0;
};

/// The numbers in the maker note of a JPEG file's EXIF that point to another JPEG behind the EXIF, relative to the EXIF
/// or to the maker note. The formats of maker notes are not parsed: a number of 32 bits does not point there by chance.
/// `exif` is the TIFF structure inside of `file`.
[[nodiscard]] std::vector<PreviewPointer> previewPointers(ByteView file, ByteView exif);

} // namespace tamsel::formats
