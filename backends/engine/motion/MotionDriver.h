#pragma once

#include <tamsel/platform/CMMotionManager.h>

#include <chrono>
#include <optional>

namespace tamsel::engine {

/// What a sensor says when it is asked: usually a sample; an error with or in place of one; or neither, when a sample is
/// missing without a reason.
template <typename Sample> struct MotionReading {
    std::optional<Sample> sample = std::nullopt;
    std::optional<platform::Error> error = std::nullopt;
};

/// What a gyroscope says.
using GyroReading = MotionReading<platform::CMGyroData>;
/// What the service that joins the sensors says.
using DeviceMotionReading = MotionReading<platform::CMDeviceMotion>;

/// The motion sensors of a back end. They are asked at the pace of each stream; times are of the platform's monotonic
/// clock. Thread-safe.
class MotionDriver {
public:
    virtual ~MotionDriver() = default;

    /// Whether there is a gyroscope. May change.
    [[nodiscard]] virtual bool hasGyro() const = 0;
    /// Whether there is an attitude. May change.
    [[nodiscard]] virtual bool hasDeviceMotion() const = 0;

    /// A stream starts now.
    virtual void streamStarts(std::chrono::nanoseconds time) = 0;

    /// What there is to deliver at this time; absent when nothing is.
    [[nodiscard]] virtual std::optional<GyroReading> readGyro(std::chrono::nanoseconds time) = 0;
    /// The same of device motion.
    [[nodiscard]] virtual std::optional<DeviceMotionReading> readDeviceMotion(std::chrono::nanoseconds time)
        = 0;
};

} // namespace tamsel::engine
