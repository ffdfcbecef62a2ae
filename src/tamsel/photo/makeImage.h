#pragma once

#include <tamsel/facade/types/CaptureSampleUpdate.h>
#include <tamsel/facade/types/OvriCaptureFrameUpdate.h>
#include <tamsel/platform/core/OvriImage.h>

#include <optional>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

/// The still image, rotated upright by its own metadata, whatever the update's orientation is; absent when the data is
/// not an image. Decodes nothing yet. Callable on any thread.
[[nodiscard]] std::optional<platform::OvriImage> makeImage(
    const CaptureSampleUpdate& captureSampleUpdate, platform::Platform& platform);

/// The frame, transformed by its `preferredTransform` only; it shares the frame's pixels. Callable on any thread.
[[nodiscard]] platform::OvriImage makeImage(const OvriCaptureFrameUpdate& captureFrameUpdate);

} // namespace tamsel
