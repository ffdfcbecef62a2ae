#pragma once

#include <host/ffmpeg/owners.h>

#include <tamsel/platform/CVPixelBuffer.h>
#include <tamsel/platform/Geometry.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel::host {

/// Converts frames to BGRA with the colour matrix and range that they declare, by libyuv if it supports the format, by
/// libswscale otherwise. A frame without a matrix counts as BT.709 from 720 lines up, as BT.601 below. Not thread-safe.
class FrameConverter {
public:
    /// The buffer must have the frame's size. With a part, given in pixels at even places, only that is converted, and
    /// enlarged to the whole buffer. False when the format cannot be converted.
    [[nodiscard]] bool convert(const AVFrame& frame, platform::CVPixelBuffer& buffer,
        const std::optional<platform::CGRect>& part = std::nullopt);

private:
    [[nodiscard]] bool convertWhole(const AVFrame& frame, platform::CVPixelBuffer& buffer);
    [[nodiscard]] bool convertPart(
        const AVFrame& frame, platform::CVPixelBuffer& buffer, const platform::CGRect& part);
    [[nodiscard]] bool convertYuv(const AVFrame& frame, platform::CVPixelBuffer& buffer);
    [[nodiscard]] bool scale(const AVFrame& frame, platform::CVPixelBuffer& buffer);

    OwnedScaler scaler_;
    OwnedFrame view_; ///< of the part of a frame
    std::unique_ptr<platform::CVPixelBuffer> part_; ///< before it is enlarged
    std::vector<std::uint8_t> copies_; ///< of some rows
};

} // namespace tamsel::host
