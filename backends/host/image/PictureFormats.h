#pragma once

#include <formats/Orientation.h>
#include <host/image/Bytes.h>

#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Error.h>

#include <expected>
#include <optional>
#include <string_view>

namespace tamsel::host {

/// Larger pictures are not decoded.
inline constexpr std::size_t maximumPixels = std::size_t{8192} * 8192;
inline constexpr std::size_t maximumSide = 1'000'000;

/// The header of a picture.
struct PictureHeader {
    std::size_t width = 0; ///< as stored
    std::size_t height = 0;
    formats::Orientation orientation = formats::upright;

    [[nodiscard]] bool isTooLarge() const
    {
        return width > maximumSide || height > maximumSide || width * height > maximumPixels;
    }
};

/// The reader of one picture format. Both functions may be called from any thread and may throw.
struct PictureFormat {
    /// Absent if the data is not in this format.
    std::optional<PictureHeader> (*readHeader)(Bytes picture);
    /// Fills the buffer, which has the stored size, with the stored pixels; alpha is not premultiplied.
    std::expected<void, platform::Error> (*decode)(Bytes picture, platform::CVPixelBuffer& target);
};

[[nodiscard]] PictureFormat jpegFormat();
[[nodiscard]] PictureFormat pngFormat();
[[nodiscard]] PictureFormat webPFormat();
[[nodiscard]] PictureFormat tiffFormat();
[[nodiscard]] PictureFormat bitmapFormat();
[[nodiscard]] PictureFormat gifFormat();
/// HEIC and AVIF with their transformations applied: upright, whatever their Exif data says.
[[nodiscard]] PictureFormat heifFormat();
/// HEIC and AVIF without their transformations.
[[nodiscard]] PictureFormat heifAsStoredFormat();

/// Whether a JPEG has more scans than any real one. Each costs a pass over all pixels, however few bytes it has.
[[nodiscard]] bool hasTooManyScans(Bytes jpeg);

/// One line that describes the problem of a picture.
[[nodiscard]] platform::Error pictureError(std::string_view format, std::string_view reason);

} // namespace tamsel::host
