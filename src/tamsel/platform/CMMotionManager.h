#pragma once

#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Error.h>

#include <functional>
#include <memory>
#include <optional>

namespace tamsel::platform {

/// The rotation rates about the device's axes: x to the right of the screen, y to its top, z out of it; right-handed,
/// radians per second.
struct CMRotationRate {
    double x = 0;
    double y = 0;
    double z = 0;

    bool operator==(const CMRotationRate&) const = default;
};

/// The attitude of the device relative to a frame whose z axis points up.
struct CMAttitude {
    double pitch = 0; ///< radians, -π/2 to π/2; positive when the top of the device is lifted
    double roll = 0; ///< radians, -π to π, about the axis to the top of the screen
    double yaw = 0; ///< radians, -π to π, about the vertical

    bool operator==(const CMAttitude&) const = default;
};

/// One sample of the gyroscope.
struct CMGyroData {
    CMRotationRate rotationRate = {};
    double timestamp = 0; ///< seconds of the sensor's own time

    bool operator==(const CMGyroData&) const = default;
};

/// One sample of the service that fuses the sensors into an attitude.
struct CMDeviceMotion {
    CMAttitude attitude = {};
    CMRotationRate rotationRate = {};
    double timestamp = 0; ///< seconds of the sensor's own time

    bool operator==(const CMDeviceMotion&) const = default;
};

/// Receives a sample, an error in place of one, or both; neither when a sample is missing without a reason.
template <typename Sample>
using CMHandler = std::function<void(const std::optional<Sample>&, const std::shared_ptr<const Error>&)>;
/// Receives the samples of the gyroscope.
using CMGyroHandler = CMHandler<CMGyroData>;
/// Receives the samples of device motion.
using CMDeviceMotionHandler = CMHandler<CMDeviceMotion>;

/// Two streams of motion samples, each at its own rate. A stream calls its handler in items of the queue that it was
/// started with, the first time one interval after the start. An item that is queued when the stream is stopped still
/// calls the handler. Starting an active stream, or stopping an inactive one, does nothing. The destructor stops both
/// streams. Thread-safe.
class CMMotionManager {
public:
    virtual ~CMMotionManager() = default;

    /// Whether the device has the service. The answer may change when sensors appear or disappear.
    [[nodiscard]] virtual bool isGyroAvailable() const = 0;
    [[nodiscard]] virtual bool isGyroActive() const = 0;
    /// Seconds, from now on, also for a running stream. The device's own limits apply.
    virtual void setGyroUpdateInterval(double interval) = 0;
    /// The handler replaces the one before.
    virtual void startGyroUpdates(std::shared_ptr<DispatchQueue> queue, CMGyroHandler handler) = 0;
    virtual void stopGyroUpdates() = 0;

    [[nodiscard]] virtual bool isDeviceMotionAvailable() const = 0;
    [[nodiscard]] virtual bool isDeviceMotionActive() const = 0;
    virtual void setDeviceMotionUpdateInterval(double interval) = 0;
    virtual void startDeviceMotionUpdates(std::shared_ptr<DispatchQueue> queue, CMDeviceMotionHandler handler)
        = 0;
    virtual void stopDeviceMotionUpdates() = 0;
};

} // namespace tamsel::platform
