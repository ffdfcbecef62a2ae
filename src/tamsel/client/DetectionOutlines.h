#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/facade/types/OvriMetadataOutputDelegate.h>
#include <tamsel/platform/Geometry.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::platform {
class Clock;
struct Platform;
} // namespace tamsel::platform

namespace tamsel {

/// The outline of a code or a face.
struct DetectionOutline {
    /// A polygon of places in the stored picture, 0 to 1 from its top left corner; of a face its rectangle.
    std::vector<platform::CGPoint> corners;
    /// Of a code; empty when it has none, and for a face.
    std::string text;
};

/// The outline with its corners in another space, for example in the window by the `layerTransform` of its picture.
[[nodiscard]] DetectionOutline transformed(
    DetectionOutline outline, const platform::CGAffineTransform& transform);

/// What was found in one picture. Draw the outlines on the picture of that capture time: a code that moves is elsewhere in
/// a newer one.
struct DetectionOutlineUpdate {
    std::optional<std::chrono::nanoseconds> captureTime; ///< absent without outlines
    std::vector<DetectionOutline> outlines;
};

/// A delegate for `setMetadataDetection` that keeps the outlines of what was found last. Thread-safe.
class DetectionOutlines final : public OvriMetadataOutputDelegate {
public:
    /// Outlines are kept for this time after their report, so they do not flicker while the next picture is examined. The
    /// platform must outlive this object.
    explicit DetectionOutlines(const platform::Platform& platform,
        std::chrono::nanoseconds viewTime = std::chrono::milliseconds(300));

    /// Of the last picture in which something was found; empty when that is longer ago.
    [[nodiscard]] DetectionOutlineUpdate latest() const;

    // On the response queue.
    void sourceManagerDidDetect(OvriSourceManager& manager, const OvriMetadataFaceObject& face) override;
    void sourceManagerDidDetect(
        OvriSourceManager& manager, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) override;

private:
    void add(std::optional<std::chrono::nanoseconds> captureTime, DetectionOutline outline)
        TAMSEL_REQUIRES(guard_);

    const platform::Clock& clock_;
    const std::chrono::nanoseconds viewTime_;

    mutable Mutex guard_;
    DetectionOutlineUpdate latest_ TAMSEL_GUARDED_BY(guard_);
    std::chrono::nanoseconds end_ TAMSEL_GUARDED_BY(guard_){};
};

} // namespace tamsel
