#pragma once

#include <host/camera/CameraMode.h>
#include <host/camera/FrameFormat.h>
#include <host/v4l2/V4L2Device.h>

#include <tamsel/platform/AVCaptureSession.h>

#include <cstdint>
#include <expected>
#include <optional>
#include <vector>

namespace tamsel::host {

/// Absent for a format that cannot be converted.
[[nodiscard]] std::optional<PixelLayout> layoutOf(std::uint32_t pixelFormat);

/// The modes of the device whose frames can be converted, if presets need them.
[[nodiscard]] std::vector<CameraMode> convertibleModes(const V4L2Device& device);

/// Sets the best mode that the device accepts, and returns the format that it has chosen. The device must have no
/// buffers.
[[nodiscard]] std::expected<FrameFormat, platform::Error> setFormat(
    const V4L2Device& device, platform::AVCaptureSessionPreset preset);

} // namespace tamsel::host
