#pragma once

#include <tamsel/platform/CVPixelBuffer.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tamsel::host {

/// How the pixels of a frame lie in memory.
enum class PixelLayout : std::uint8_t { yuyv, uyvy, nv12, i420, yv12, bgrx, bgr, rgb, jpeg };

enum class ColourMatrix : std::uint8_t { bt601, bt709, bt2020 };

/// `limited`: black is 16 and white is 235.
enum class ColourRange : std::uint8_t { limited, full };

/// The shape of the frames of one stream, whose pixels are not compressed.
struct RawFrameFormat {
    PixelLayout layout = PixelLayout::yuyv;
    std::size_t width = 0; ///< pixels
    std::size_t height = 0; ///< pixels
    std::size_t bytesPerRow = 0; ///< of the first plane; at least `minimumBytesPerRow()`
    ColourMatrix matrix = ColourMatrix::bt601;
    ColourRange range = ColourRange::limited;

    [[nodiscard]] std::size_t minimumBytesPerRow() const;
    /// What a whole frame takes at the least: the padding of its last row may be missing.
    [[nodiscard]] std::size_t minimumBytes() const;
};

/// Three planes of a decoded picture; `horizontalStep` and `verticalStep` are the pixels for each sample of colour.
struct PlanarPicture {
    struct Plane {
        const std::uint8_t* samples = nullptr;
        int bytesPerRow = 0;
    };

    Plane luma;
    Plane blue; ///< absent in a grey picture
    Plane red;
    int horizontalStep = 1;
    int verticalStep = 1;
};

/// Turns the frames of one stream into opaque BGRA. One thread at a time.
class RawFrameConverter {
public:
    explicit RawFrameConverter(const RawFrameFormat& format) : format_(format) { }

    [[nodiscard]] const RawFrameFormat& format() const { return format_; }

    /// Fills a buffer of the format's size from a frame of at least `minimumBytes()`.
    void convert(std::span<const std::byte> frame, platform::CVPixelBuffer& target);

private:
    struct Block;

    void convertLumaAndChroma(const std::uint8_t* source, platform::CVPixelBuffer& target);
    void convertBlock(const Block& block, ColourRange range, platform::CVPixelBuffer& target) const;

    const RawFrameFormat format_;
    std::vector<std::uint8_t> copies_; ///< of some rows
};

/// Fills a buffer from planes of at least its size in JPEG's colours; false for steps other than 1 and 2.
[[nodiscard]] bool convertPlanarPicture(const PlanarPicture& picture, platform::CVPixelBuffer& target);

} // namespace tamsel::host
