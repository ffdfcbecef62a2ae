#pragma once

#include <tamsel/platform/CVPixelBuffer.h>

struct AVFrame;
struct SwsContext;

namespace tamsel::host {

/// Converts decoded frames to BGRA, with the colour matrix and range that the frame names: by libyuv where it knows the
/// format, by libswscale otherwise. A frame that names no matrix counts as BT.709 from 720 lines up, as BT.601 below.
class FrameConverter {
public:
    FrameConverter() = default;
    ~FrameConverter();
    FrameConverter(const FrameConverter&) = delete;
    FrameConverter& operator=(const FrameConverter&) = delete;

    /// The buffer must have the frame's size. False when there is no way to convert the format.
    [[nodiscard]] bool convert(const AVFrame& frame, platform::CVPixelBuffer& buffer);

private:
    SwsContext* context_ = nullptr;
};

} // namespace tamsel::host
