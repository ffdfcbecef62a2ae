#pragma once

#include <formats/fileBytes.h>

#include <cstdint>
#include <vector>

namespace tamsel::formats {

/// A number in a maker note that says where a preview begins, which some cameras put behind the picture.
struct PreviewPointer {
    std::size_t place = 0; ///< of its four bytes in the EXIF
    ByteOrder order{};
    std::uint32_t offset = 0;
};

/// What in the maker note of a JPEG file's EXIF leads to another JPEG behind the EXIF, counted from where the EXIF or the
/// maker note begins. The formats of maker notes are not looked at: a number of 32 bits does not lead to such a place by
/// chance. `exif` is the TIFF structure inside of `file`.
[[nodiscard]] std::vector<PreviewPointer> previewPointers(ByteView file, ByteView exif);

} // namespace tamsel::formats
