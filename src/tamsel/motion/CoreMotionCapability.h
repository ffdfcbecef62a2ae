#pragma once

#include <variant>

namespace tamsel {

/// A motion service that a worker needs, and the longest interval between its samples, in seconds.
class CoreMotionCapability {
public:
    /// Rotation rates.
    struct Gyro {
        double updateInterval;
        bool operator==(const Gyro&) const = default;
    };
    /// The attitude.
    struct DeviceMotion {
        double updateInterval;
        bool operator==(const DeviceMotion&) const = default;
    };
    using Value = std::variant<Gyro, DeviceMotion>;

    [[nodiscard]] static CoreMotionCapability gyro(double updateInterval)
    {
        return CoreMotionCapability(Gyro{updateInterval});
    }
    [[nodiscard]] static CoreMotionCapability deviceMotion(double updateInterval)
    {
        return CoreMotionCapability(DeviceMotion{updateInterval});
    }

    [[nodiscard]] const Value& value() const { return value_; }

    bool operator==(const CoreMotionCapability&) const = default;

private:
    explicit CoreMotionCapability(Value value) : value_(value) { }

    Value value_;
};

} // namespace tamsel
