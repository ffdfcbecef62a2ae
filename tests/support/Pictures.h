#pragma once

#include <tamsel/platform/ImageServices.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::tests {

/// Pixels to compare, as 0xAARRGGBB.
struct Pixels {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> words;

    Pixels() = default;
    Pixels(int w, int h)
        : width(w),
          height(h),
          words(static_cast<std::size_t>(w) * static_cast<std::size_t>(h))
    {
    }
    explicit Pixels(const platform::CVPixelBuffer& buffer);

    std::uint32_t& at(int x, int y) { return words[static_cast<std::size_t>(y * width + x)]; }
    [[nodiscard]] std::uint32_t at(int x, int y) const
    {
        return words[static_cast<std::size_t>(y * width + x)];
    }

    [[nodiscard]] std::shared_ptr<platform::CVPixelBuffer> buffer() const;
    bool operator==(const Pixels&) const = default;
};

/// A picture of which no two pixels, and no two of its eight orientations, are the same.
[[nodiscard]] Pixels slopes(int width, int height, std::uint32_t alpha = 0xff);

/// The largest difference of a channel; 256 when the sizes differ.
[[nodiscard]] int difference(const Pixels& one, const Pixels& other);

/// What a picture with this Exif orientation looks like upright.
[[nodiscard]] Pixels uprightPicture(const Pixels& stored, int orientation);

/// Files. With orientation 0 they say nothing of it.
[[nodiscard]] std::string jpegFile(const Pixels& picture, int orientation = 0, int quality = 100);
[[nodiscard]] std::string pngFile(const Pixels& picture, int orientation = 0);
[[nodiscard]] std::string webPFile(const Pixels& picture, int orientation = 0);
[[nodiscard]] std::string tiffFile(const Pixels& picture, int orientation = 0);
[[nodiscard]] std::string pngChunk(const std::string& kindAndContent);

/// A JPEG of one grey or of four inks, the same all over.
[[nodiscard]] std::string flatJpegFile(int width, int height, const std::vector<std::uint8_t>& channels);

[[nodiscard]] platform::ImageData imageData(const std::string& file);
/// As it is stored, unless the options say otherwise; without pixels when the file does not open or decode.
[[nodiscard]] Pixels decoded(const std::string& file, const platform::CIImageOptions& options = {});

} // namespace tamsel::tests
