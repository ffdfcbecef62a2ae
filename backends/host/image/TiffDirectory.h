#pragma once

#include <host/image/Bytes.h>
#include <host/image/Orientation.h>

namespace tamsel::host {

/// The first directory of a TIFF structure, which Exif data is as well as a TIFF file. Looks at the bytes where they are.
class TiffDirectory {
public:
    /// Absent when this is no such structure.
    [[nodiscard]] static std::optional<TiffDirectory> read(Bytes tiff);

    /// The number that a tag holds directly, of 16 or 32 bits.
    [[nodiscard]] std::optional<std::uint32_t> value(std::uint16_t tag) const;
    /// As the orientation tag says; upright when it says nothing that is known.
    [[nodiscard]] Orientation orientation() const;

private:
    TiffDirectory(Bytes entries, std::endian order) : entries_(entries), order_(order) { }

    Bytes entries_;
    std::endian order_;
};

/// The orientation in Exif data, with or without the six letters that JPEG files put in front of it.
[[nodiscard]] Orientation exifOrientation(Bytes exif);

} // namespace tamsel::host
