#include <engine/motion/LogMotion.h>

#include <utility>

namespace tamsel::engine {

using std::chrono::nanoseconds;

LogMotion::LogMotion(std::shared_ptr<const formats::MotionLog> log) : log_(std::move(log)) { }

void LogMotion::streamStarts(nanoseconds time)
{
    const MutexLock lock(guard_);
    if (!origin_)
        origin_ = time;
}

const formats::MotionLog::Row* LogMotion::rowAt(nanoseconds time) const
{
    const MutexLock lock(guard_);
    return origin_ ? log_->rowAt(time - *origin_) : nullptr;
}

double LogMotion::timestamp(const formats::MotionLog::Row& row) const
{
    return log_->firstTime() + std::chrono::duration<double>(row.offset).count();
}

std::optional<GyroReading> LogMotion::readGyro(nanoseconds time)
{
    const formats::MotionLog::Row* row = rowAt(time);
    if (!row || !row->rotationRate)
        return std::nullopt;
    return GyroReading{
        .sample = platform::CMGyroData{.rotationRate = *row->rotationRate, .timestamp = timestamp(*row)}};
}

std::optional<DeviceMotionReading> LogMotion::readDeviceMotion(nanoseconds time)
{
    const formats::MotionLog::Row* row = rowAt(time);
    if (!row || !row->pitch)
        return std::nullopt;
    return DeviceMotionReading{.sample = platform::CMDeviceMotion{.attitude = {.pitch = *row->pitch},
                                   .rotationRate = row->rotationRate.value_or(platform::CMRotationRate{}),
                                   .timestamp = timestamp(*row)}};
}

} // namespace tamsel::engine
