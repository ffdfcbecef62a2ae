#pragma once

#include <tamsel/motion/MotionWorker.h>

#include <optional>
#include <vector>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

/// Decides whether the device is tilted up far enough: its pitch has reached `minAngle`. Reports each change once.
class FacingAngleWorker final : public MotionWorker {
public:
    /// `angle` in degrees.
    FacingAngleWorker(double angle, platform::Platform& platform);

    /// Device motion, five times a second.
    [[nodiscard]] std::vector<CoreMotionCapability> capabilities() const override;
    void handleDeviceMotion(
        const std::optional<platform::CMDeviceMotion>& sample, const SampleError& error) override;

    /// The smallest pitch that counts, in radians.
    [[nodiscard]] double minAngle() const { return minAngle_; }
    /// The last verdict that was reported; absent before the first verdict.
    [[nodiscard]] std::optional<bool> latestStatus() const { return latestStatus_; }

private:
    const double minAngle_;
    std::optional<bool> latestStatus_;
};

} // namespace tamsel
