#pragma once

#include <tamsel/facade/types/CaptureSampleUpdate.h>
#include <tamsel/facade/types/OvriCaptureFrameUpdate.h>
#include <tamsel/platform/core/OvriImage.h>

#include <optional>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

/// The still image, turned upright as its own data says, whatever the update's orientation is; absent when the data is no
/// image. Decodes nothing yet. Callable on any thread.
[[nodiscard]] std::optional<platform::OvriImage> makeImage(
    const CaptureSampleUpdate& captureSampleUpdate, platform::Platform& platform);

/// The frame, moved by its `preferredTransform` and by nothing else; it shares the frame's pixels. Callable on any thread.
[[nodiscard]] platform::OvriImage makeImage(const OvriCaptureFrameUpdate& captureFrameUpdate);

} // namespace tamsel
