#pragma once

#include <engine/motion/LogMotion.h>
#include <engine/motion/Motion.h>

#include <tamsel/platform/Clock.h>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <numbers>
#include <optional>

namespace tamsel::simulated {

/// The behaviour of the motion sensors of a simulated phone. May be changed at any time.
struct MotionScript {
    bool hasGyro = true;
    bool hasDeviceMotion = true;
    /// The reading of a stream at each tick, by virtual time. A function that returns nothing delivers nothing, and an
    /// empty reading is a sample that is missing without a reason. By default the phone lies still, its screen up.
    std::function<std::optional<engine::GyroReading>(std::chrono::nanoseconds)> gyro
        = [](std::chrono::nanoseconds) { return engine::GyroReading{.sample = platform::CMGyroData{}}; };
    std::function<std::optional<engine::DeviceMotionReading>(std::chrono::nanoseconds)> deviceMotion
        = [](std::chrono::nanoseconds) {
              return engine::DeviceMotionReading{.sample = platform::CMDeviceMotion{}};
          };
};

/// Motion sensors that follow the script, or a log if there is one.
class SimulatedMotion final : public engine::MotionDriver {
public:
    SimulatedMotion(
        MotionScript script, std::shared_ptr<const formats::MotionLog> log, const platform::Clock& clock);

    [[nodiscard]] MotionScript& script() { return script_; }

    /// The hand that holds the phone, in place of the script's gyroscope: `shake` turns it by turns, `hold` keeps it still.
    /// A movement begins when the one before has ended, and then the script has effect again.
    void hold(std::chrono::nanoseconds duration) { move(duration, 0); }
    void shake(std::chrono::nanoseconds duration) { move(duration, shakingRate); }
    /// The top of the phone is lifted so far from now on, in place of the script's device motion.
    void tilt(double degrees) { pitch_ = degrees * std::numbers::pi / 180; }

    /// Delivers one additional reading now to every manager that has ever started the stream, also after a stop.
    void produce(const engine::GyroReading& reading) { services_->deliver(reading); }
    void produce(const engine::DeviceMotionReading& reading) { services_->deliver(reading); }

    [[nodiscard]] bool hasGyro() const override { return log_ ? log_->hasGyro() : script_.hasGyro; }
    [[nodiscard]] bool hasDeviceMotion() const override
    {
        return log_ ? log_->hasDeviceMotion() : script_.hasDeviceMotion;
    }
    void streamStarts(std::chrono::nanoseconds time) override;
    [[nodiscard]] std::optional<engine::GyroReading> readGyro(std::chrono::nanoseconds time) override;
    [[nodiscard]] std::optional<engine::DeviceMotionReading> readDeviceMotion(
        std::chrono::nanoseconds time) override;

    /// Called once, with the services that use this driver.
    void setServices(engine::Motion& services) { services_ = &services; }

private:
    static constexpr double shakingRate = 3; ///< rad/s

    struct Movement {
        std::chrono::nanoseconds end;
        double rate;
    };

    void move(std::chrono::nanoseconds duration, double rate);

    MotionScript script_;
    const platform::Clock& clock_;
    std::deque<Movement> movements_; ///< in order; those that have ended are removed
    std::optional<double> pitch_; ///< radians
    double direction_ = 1; ///< of the latest turn
    std::optional<engine::LogMotion> log_;
    engine::Motion* services_ = nullptr;
};

} // namespace tamsel::simulated
