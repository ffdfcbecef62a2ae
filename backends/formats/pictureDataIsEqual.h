#pragma once

#include <cstddef>
#include <span>

namespace tamsel::formats {

/// Whether two files are the same picture with the same bytes in everything that a rewriting may not change: in JPEG,
/// PNG and WebP all but the EXIF and its size fields; in HEIC and AVIF the data of all other items, and all boxes but
/// the entries of the EXIF item and the offsets of others; in a TIFF structure (a file or EXIF) all but entries of its
/// first, Exif and GPS directories, and what is behind its old end. Parses both files again and reads them completely.
[[nodiscard]] bool pictureDataIsEqual(std::span<const std::byte> before, std::span<const std::byte> after);

} // namespace tamsel::formats
