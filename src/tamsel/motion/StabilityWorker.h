#pragma once

#include <tamsel/motion/MotionWorker.h>

#include <optional>
#include <vector>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

/// Decides whether the device is held still: every rotation rate of the last `duration` seconds lies within `threshold`
/// of the oldest one, and has done so for a further `duration` seconds. Reports each change once. The comparison is
/// with the oldest sample, not with rest, so a device that rotates steadily counts as held still.
class StabilityWorker final : public MotionWorker {
public:
    /// A sample, and its time of arrival.
    struct Entry {
        double timestamp; ///< seconds since 1970
        platform::CMGyroData data;
    };

    /// `threshold` in radians per second, `duration` in seconds.
    StabilityWorker(double threshold, double duration, platform::Platform& platform);

    /// The gyroscope, four times in each duration.
    [[nodiscard]] std::vector<CoreMotionCapability> capabilities() const override;
    void handleGyroData(const std::optional<platform::CMGyroData>& sample, const SampleError& error) override;

    [[nodiscard]] double threshold() const { return threshold_; }
    [[nodiscard]] double duration() const { return duration_; }
    /// Seconds since 1970 of the first stable evaluation of the current stable period; 0 when there is none.
    [[nodiscard]] double latestStableTimestamp() const { return latestStableTimestamp_; }
    /// The last verdict that was reported; absent before the first verdict.
    [[nodiscard]] std::optional<bool> latestStatus() const { return latestStatus_; }
    /// The samples for the next evaluation, oldest first.
    [[nodiscard]] const std::vector<Entry>& gyroDataStack() const { return gyroDataStack_; }

private:
    [[nodiscard]] double now() const;
    void evaluateStability();
    [[nodiscard]] bool isWindowStable() const;
    void updateStatus(bool isStable);

    platform::Platform& platform_;
    const double threshold_;
    const double duration_;
    double latestStableTimestamp_ = 0;
    std::vector<Entry> gyroDataStack_;
    std::optional<bool> latestStatus_;
};

} // namespace tamsel
