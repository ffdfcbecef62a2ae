#include <tamsel/motion/FacingAngleWorker.h>

#include <tamsel/platform/Platform.h>

#include <numbers>

namespace tamsel {

using namespace platform;

namespace {

constexpr double updateInterval = 0.2;

} // namespace

FacingAngleWorker::FacingAngleWorker(double angle, Platform& platform)
    : MotionWorker(platform.dispatch),
      minAngle_(angle * std::numbers::pi / 180.0)
{
}

std::vector<CoreMotionCapability> FacingAngleWorker::capabilities() const
{
    return {CoreMotionCapability::deviceMotion(updateInterval)};
}

void FacingAngleWorker::handleDeviceMotion(
    const std::optional<CMDeviceMotion>& sample, const SampleError& error)
{
    if (!sample) {
        deliver(std::unexpected(MotionHelperError::frameworkError(error)));
        return;
    }
    const bool isFacing = minAngle_ <= sample->attitude.pitch; // false for NaN
    if (latestStatus_ == isFacing)
        return;
    latestStatus_ = isFacing;
    deliver(isFacing);
}

} // namespace tamsel
