#pragma once

#include <engine/image/Orientation.h>
#include <host/image/Bytes.h>

#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Error.h>

#include <expected>
#include <optional>
#include <string_view>

namespace tamsel::host {

/// Pictures of more pixels are not opened.
inline constexpr std::size_t maximumPixels = std::size_t{8192} * 8192;

/// What a picture says of itself before any pixel is decoded.
struct PictureHeader {
    std::size_t width = 0; ///< as stored
    std::size_t height = 0;
    engine::Orientation orientation = engine::upright;
};

/// How pictures of one format are read. Both functions may be called from any thread and may throw.
struct PictureFormat {
    /// Absent when this is no picture of the format.
    std::optional<PictureHeader> (*readHeader)(Bytes picture);
    /// Fills the buffer, which has the stored size, with the pixels as they are stored, alpha not multiplied in.
    std::expected<void, platform::Error> (*decode)(Bytes picture, platform::CVPixelBuffer& target);
};

[[nodiscard]] PictureFormat jpegFormat();
[[nodiscard]] PictureFormat pngFormat();
[[nodiscard]] PictureFormat webPFormat();
[[nodiscard]] PictureFormat tiffFormat();
[[nodiscard]] PictureFormat bitmapFormat();
[[nodiscard]] PictureFormat gifFormat();
/// HEIC and AVIF, whose own turns are part of the picture, so that it is upright whatever their Exif data says.
[[nodiscard]] PictureFormat heifFormat();
/// HEIC and AVIF without their own turns and cuts.
[[nodiscard]] PictureFormat heifAsStoredFormat();

/// One line that says what is wrong with a picture.
[[nodiscard]] platform::Error pictureError(std::string_view format, std::string_view reason);

} // namespace tamsel::host
