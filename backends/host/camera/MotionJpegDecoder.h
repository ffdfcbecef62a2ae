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
    /// Fills the buffer with the picture, cut to the buffer's size from the top left, or with a part of that. False when the
    /// picture is incomplete, does not decode or is smaller than the buffer.
    [[nodiscard]] bool decode(std::span<const std::byte> picture, platform::CVPixelBuffer& target,
        const std::optional<platform::CGRect>& part = std::nullopt);

private:
    PictureDecoder decoder_{AV_CODEC_ID_MJPEG};
    FrameConverter converter_;
};

} // namespace tamsel::host
