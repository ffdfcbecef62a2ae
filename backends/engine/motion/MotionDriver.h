#pragma once

#include <tamsel/platform/CMMotionManager.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

namespace tamsel::engine {

/// A reading of a sensor: usually a sample; an error with it or instead of it; or neither, when a sample is missing for
/// an unknown reason.
template <typename Sample> struct MotionReading {
    std::optional<Sample> sample = std::nullopt;
    std::optional<platform::Error> error = std::nullopt;
};

/// Of the gyroscope.
using GyroReading = MotionReading<platform::CMGyroData>;
/// Of device motion.
using DeviceMotionReading = MotionReading<platform::CMDeviceMotion>;

/// A stream of samples that a motion driver feeds.
enum class MotionService : std::uint8_t { gyro, deviceMotion };

/// The motion sensors of a back end. They are read at the interval of each stream; times are of the platform's monotonic
/// clock. Thread-safe.
class MotionDriver {
public:
    virtual ~MotionDriver() = default;

    /// Whether there is a gyroscope. May change.
    [[nodiscard]] virtual bool hasGyro() const = 0;
    /// Whether there is an attitude. May change.
    [[nodiscard]] virtual bool hasDeviceMotion() const = 0;

    /// A stream starts at this time.
    virtual void streamStarts(std::chrono::nanoseconds time) = 0;
    /// A running stream of the service will be read at this interval until the result is released. Returns at once.
    [[nodiscard]] virtual std::shared_ptr<void> use(
        MotionService /*service*/, std::chrono::nanoseconds /*interval*/)
    {
        return nullptr;
    }

    /// The reading at this time; absent for none.
    [[nodiscard]] virtual std::optional<GyroReading> readGyro(std::chrono::nanoseconds time) = 0;
    /// The same for device motion.
    [[nodiscard]] virtual std::optional<DeviceMotionReading> readDeviceMotion(std::chrono::nanoseconds time)
        = 0;
};

} // namespace tamsel::engine
