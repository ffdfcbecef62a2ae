#pragma once

#include <host/ffmpeg/owners.h>

#include <array>
#include <cstddef>
#include <span>

namespace tamsel::host {

/// The layout of a frame's pixels in memory.
struct PixelLayout {
    AVPixelFormat format = AV_PIX_FMT_NONE; ///< none for a JPEG picture
    bool isRedFirst = false; ///< the two planes of colour are swapped

    [[nodiscard]] bool isJpeg() const { return format == AV_PIX_FMT_NONE; }
};

/// The shape of the frames of one stream.
struct FrameFormat {
    PixelLayout layout;
    int width = 0; ///< pixels
    int height = 0; ///< pixels
    int bytesPerRow = 0; ///< of the first plane, as reported by the driver
    AVColorSpace matrix = AVCOL_SPC_SMPTE170M;
    AVColorRange range = AVCOL_RANGE_MPEG;

    /// The least size of a frame: the padding of its last row may be missing.
    [[nodiscard]] std::size_t minimumBytes() const;
    /// Makes the frame refer to these bytes, which are not a JPEG picture and at least `minimumBytes()`.
    void wrap(std::span<std::byte> bytes, AVFrame& frame) const;

private:
    [[nodiscard]] std::array<int, 4> strides() const;
};

} // namespace tamsel::host
