#pragma once

#include <host/ffmpeg/owners.h>

#include <engine/capture/CameraDriver.h>

#include <utility>

namespace tamsel::host {

/// A decoded frame.
class DecodedPicture final : public engine::NativePicture {
public:
    explicit DecodedPicture(OwnedFrame frame) : frame_(std::move(frame)) { }

    [[nodiscard]] const AVFrame& frame() const { return *frame_; }

private:
    const OwnedFrame frame_;
};

} // namespace tamsel::host
