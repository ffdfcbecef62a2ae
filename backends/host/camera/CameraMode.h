#pragma once

#include <tamsel/platform/AVCaptureSession.h>

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace tamsel::host {

/// A combination of format, size and rate that a device offers.
struct CameraMode {
    /// Seconds of a frame as a fraction.
    struct Interval {
        std::uint32_t numerator;
        std::uint32_t denominator;
    };

    std::uint32_t pixelFormat = 0; ///< in the device's own numbers
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    bool isCompressed = false;
    std::optional<Interval> interval = std::nullopt; ///< absent if the device does not list its rates
    int order = 0; ///< in the list of the device

    /// Frames per second; the wanted rate if the device does not list its rates.
    [[nodiscard]] double rate() const;
};

/// Any size in between, in steps.
struct SizeRange {
    std::uint32_t minimumWidth;
    std::uint32_t maximumWidth;
    std::uint32_t stepWidth;
    std::uint32_t minimumHeight;
    std::uint32_t maximumHeight;
    std::uint32_t stepHeight;
};

/// The largest size of a range, and usual ones that may run faster.
[[nodiscard]] std::vector<std::pair<std::uint32_t, std::uint32_t>> usualSizes(const SizeRange& range);

/// Replaces the best interval if the other is better: the slowest one that suffices, or else the fastest.
void preferInterval(std::optional<CameraMode::Interval>& best, const CameraMode::Interval& other);
/// The same with all intervals between two.
void preferIntervals(std::optional<CameraMode::Interval>& best, const CameraMode::Interval& fastest,
    const CameraMode::Interval& slowest);

/// The best first. `photo` wants the largest size. `high` wants the largest size up to 1920x1080 that reaches 30 frames
/// per second; when there is none, the highest rate. Of equal modes the uncompressed one wins.
void rankModes(std::vector<CameraMode>& modes, platform::AVCaptureSessionPreset preset);

} // namespace tamsel::host
