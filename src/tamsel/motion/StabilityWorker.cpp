#include <tamsel/motion/StabilityWorker.h>

#include <tamsel/platform/Clock.h>
#include <tamsel/platform/Platform.h>

#include <algorithm>
#include <cmath>

namespace tamsel {

using namespace platform;

namespace {

constexpr double samplesPerDuration = 0.25; // as a factor of the interval

double distance(const CMRotationRate& rate, const CMRotationRate& reference)
{
    const double x = rate.x - reference.x;
    const double y = rate.y - reference.y;
    const double z = rate.z - reference.z;
    return std::sqrt(x * x + y * y + z * z);
}

} // namespace

StabilityWorker::StabilityWorker(double threshold, double duration, Platform& platform)
    : MotionWorker(platform.dispatch),
      platform_(platform),
      threshold_(threshold),
      duration_(duration)
{
}

std::vector<CoreMotionCapability> StabilityWorker::capabilities() const
{
    return {CoreMotionCapability::gyro(duration_ * samplesPerDuration)};
}

double StabilityWorker::now() const
{
    return platform_.clock.timeIntervalSince1970();
}

void StabilityWorker::handleGyroData(const std::optional<CMGyroData>& sample, const SampleError& error)
{
    if (!sample) {
        deliver(std::unexpected(MotionHelperError::frameworkError(error)));
        return;
    }
    gyroDataStack_.push_back({now(), *sample});
    const double limit = now() - duration_;
    // All are checked: the wall clock may have been set back. The negation also drops NaN.
    std::erase_if(gyroDataStack_, [limit](const Entry& entry) { return !(entry.timestamp > limit); });
    evaluateStability();
}

void StabilityWorker::evaluateStability()
{
    if (gyroDataStack_.size() < 2)
        return;
    updateStatus(isWindowStable());
}

bool StabilityWorker::isWindowStable() const
{
    const CMRotationRate& reference = gyroDataStack_.front().data.rotationRate;
    return std::ranges::all_of(gyroDataStack_, [&](const Entry& entry) {
        return distance(entry.data.rotationRate, reference) <= threshold_; // false for NaN
    });
}

void StabilityWorker::updateStatus(bool isStable)
{
    if (!isStable) {
        latestStableTimestamp_ = 0;
        if (latestStatus_ != false) {
            latestStatus_ = false;
            deliver(false);
        }
        return;
    }
    if (latestStableTimestamp_ == 0) {
        latestStableTimestamp_ = now();
        return;
    }
    if (duration_ <= now() - latestStableTimestamp_ && latestStatus_ != true) {
        latestStatus_ = true;
        deliver(true);
    }
}

} // namespace tamsel
