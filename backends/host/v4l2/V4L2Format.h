#pragma once

#include <host/v4l2/V4L2Device.h>
#include <host/v4l2/V4L2FrameFormat.h>

#include <tamsel/platform/AVCaptureSession.h>

#include <cstdint>
#include <expected>
#include <optional>
#include <vector>

namespace tamsel::host {

/// Something that a device can be asked for.
struct V4L2Mode {
    std::uint32_t pixelFormat = 0; ///< the kernel's four-character code
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    /// Seconds of a frame as a fraction; absent when the device does not tell its rates.
    struct Interval {
        std::uint32_t numerator;
        std::uint32_t denominator;
    };
    std::optional<Interval> interval;
    int order = 0; ///< among what the device offers

    /// Frames per second; a device that does not tell is taken to reach what is wanted.
    [[nodiscard]] double rate() const;
};

/// Absent for a format that cannot be converted.
[[nodiscard]] std::optional<PixelLayout> layoutOf(std::uint32_t pixelFormat);

/// What the device offers that can be converted, as far as it matters to a preset.
[[nodiscard]] std::vector<V4L2Mode> convertibleModes(const V4L2Device& device);

/// The best first. `photo` wants the largest size. `high` wants the largest size up to 1920x1080 that reaches 30 frames
/// per second; when there is none, the highest rate. Of equals the one that is not compressed wins.
void rankModes(std::vector<V4L2Mode>& modes, platform::AVCaptureSessionPreset preset);

/// Sets the best mode that the device accepts and returns what it has made of it. The device must have no buffers.
[[nodiscard]] std::expected<V4L2FrameFormat, platform::Error> setFormat(
    const V4L2Device& device, platform::AVCaptureSessionPreset preset);

} // namespace tamsel::host
