#pragma once

#include <host/ffmpeg/owners.h>

#include <tamsel/platform/CVPixelBuffer.h>

#include <cstdint>
#include <vector>

namespace tamsel::host {

/// Converts frames to BGRA with the colour matrix and range that they declare, by libyuv if it supports the format, by
/// libswscale otherwise. A frame without a matrix counts as BT.709 from 720 lines up, as BT.601 below. Not thread-safe.
class FrameConverter {
public:
    /// The buffer must have the frame's size. False when the format cannot be converted.
    [[nodiscard]] bool convert(const AVFrame& frame, platform::CVPixelBuffer& buffer);

private:
    [[nodiscard]] bool convertYuv(const AVFrame& frame, platform::CVPixelBuffer& buffer);
    [[nodiscard]] bool scale(const AVFrame& frame, platform::CVPixelBuffer& buffer);

    OwnedScaler scaler_;
    std::vector<std::uint8_t> copies_; ///< of some rows
};

} // namespace tamsel::host
