#pragma once

#include <engine/motion/MotionDriver.h>
#include <formats/MotionLog.h>

#include <tamsel/Mutex.h>

#include <memory>

namespace tamsel::engine {

/// Sensors that replay a motion log, from the start of the first stream. A tick gets the newest row that is not later, and
/// nothing after the last row. A log without rotation rates is a device without gyroscope, one without pitch a device without
/// device motion. Thread-safe.
class LogMotion final : public MotionDriver {
public:
    explicit LogMotion(std::shared_ptr<const formats::MotionLog> log);

    [[nodiscard]] bool hasGyro() const override { return log_->hasRotationRate(); }
    [[nodiscard]] bool hasDeviceMotion() const override { return log_->hasPitch(); }
    void streamStarts(std::chrono::nanoseconds time) override;
    [[nodiscard]] std::optional<GyroReading> readGyro(std::chrono::nanoseconds time) override;
    [[nodiscard]] std::optional<DeviceMotionReading> readDeviceMotion(std::chrono::nanoseconds time) override;

private:
    [[nodiscard]] const formats::MotionLog::Row* rowAt(std::chrono::nanoseconds time) const;
    [[nodiscard]] double timestamp(const formats::MotionLog::Row& row) const;

    const std::shared_ptr<const formats::MotionLog> log_;
    mutable Mutex guard_;
    std::optional<std::chrono::nanoseconds> origin_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
