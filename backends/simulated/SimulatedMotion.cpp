#include <simulated/SimulatedMotion.h>

#include <utility>

namespace tamsel::simulated {

using std::chrono::nanoseconds;

SimulatedMotion::SimulatedMotion(MotionScript script, std::shared_ptr<const formats::MotionLog> log)
    : script_(std::move(script))
{
    if (log)
        log_.emplace(std::move(log));
}

void SimulatedMotion::streamStarts(nanoseconds time)
{
    if (log_)
        log_->streamStarts(time);
}

std::optional<engine::GyroReading> SimulatedMotion::readGyro(nanoseconds time)
{
    return log_ ? log_->readGyro(time) : script_.gyro(time);
}

std::optional<engine::DeviceMotionReading> SimulatedMotion::readDeviceMotion(nanoseconds time)
{
    return log_ ? log_->readDeviceMotion(time) : script_.deviceMotion(time);
}

} // namespace tamsel::simulated
