#pragma once

#include <tamsel/platform/CVPixelBuffer.h>

#include <cstddef>
#include <memory>
#include <span>

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace tamsel::host {

/// Decodes a camera's compressed frames. One thread at a time.
class MotionJpegDecoder {
public:
    MotionJpegDecoder();
    ~MotionJpegDecoder();

    /// Fills the buffer with the picture, cut to the buffer's size from the top left. False, and nothing said, when the
    /// picture is incomplete, does not decode or is smaller than the buffer.
    [[nodiscard]] bool decode(std::span<const std::byte> picture, platform::CVPixelBuffer& target);

private:
    struct Free {
        void operator()(AVCodecContext* context) const;
        void operator()(AVFrame* frame) const;
        void operator()(AVPacket* packet) const;
    };

    std::unique_ptr<AVCodecContext, Free> context_;
    std::unique_ptr<AVFrame, Free> frame_;
    std::unique_ptr<AVPacket, Free> packet_;
};

} // namespace tamsel::host
