#pragma once

#include <host/ffmpeg/FrameConverter.h>
#include <host/ffmpeg/PictureDecoder.h>

#include <tamsel/platform/CVPixelBuffer.h>

#include <cstddef>
#include <span>

namespace tamsel::host {

/// Decodes a camera's compressed frames. One thread at a time.
class MotionJpegDecoder {
public:
    /// Fills the buffer with the picture, cut to the buffer's size from the top left. False when the picture is incomplete,
    /// does not decode or is smaller than the buffer.
    [[nodiscard]] bool decode(std::span<const std::byte> picture, platform::CVPixelBuffer& target);

private:
    PictureDecoder decoder_{AV_CODEC_ID_MJPEG};
    FrameConverter converter_;
};

} // namespace tamsel::host
