#pragma once

#include <engine/motion/LogMotion.h>
#include <engine/motion/Motion.h>

#include <chrono>
#include <functional>
#include <memory>
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
    SimulatedMotion(MotionScript script, std::shared_ptr<const formats::MotionLog> log);

    [[nodiscard]] MotionScript& script() { return script_; }

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
    MotionScript script_;
    std::optional<engine::LogMotion> log_;
    engine::Motion* services_ = nullptr;
};

} // namespace tamsel::simulated
