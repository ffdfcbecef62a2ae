#pragma once

#include <host/v4l2/V4L2Device.h>
#include <host/v4l2/V4L2FrameFormat.h>

#include <tamsel/platform/AVCaptureSession.h>

#include <cstdint>
#include <expected>
#include <optional>
#include <vector>

namespace tamsel::host {

/// A combination of format, size and rate that a device offers.
struct V4L2Mode {
    std::uint32_t pixelFormat = 0; ///< the kernel's four-character code
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    /// Seconds of a frame as a fraction; absent if the device does not list its rates.
    struct Interval {
        std::uint32_t numerator;
        std::uint32_t denominator;
    };
    std::optional<Interval> interval;
    int order = 0; ///< in the list of the device

    /// Frames per second; the wanted rate if the device does not list its rates.
    [[nodiscard]] double rate() const;
};

/// Absent for a format that cannot be converted.
[[nodiscard]] std::optional<PixelLayout> layoutOf(std::uint32_t pixelFormat);

/// The modes of the device whose frames can be converted, if presets need them.
[[nodiscard]] std::vector<V4L2Mode> convertibleModes(const V4L2Device& device);

/// The best first. `photo` wants the largest size. `high` wants the largest size up to 1920x1080 that reaches 30 frames
/// per second; when there is none, the highest rate. Of equal modes the uncompressed one wins.
void rankModes(std::vector<V4L2Mode>& modes, platform::AVCaptureSessionPreset preset);

/// Sets the best mode that the device accepts, and returns the format that it has chosen. The device must have no
/// buffers.
[[nodiscard]] std::expected<V4L2FrameFormat, platform::Error> setFormat(
    const V4L2Device& device, platform::AVCaptureSessionPreset preset);

} // namespace tamsel::host
