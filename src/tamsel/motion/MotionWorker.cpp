#include <tamsel/motion/MotionWorker.h>

#include <tamsel/platform/Dispatch.h>

#include <utility>

namespace tamsel {

using namespace platform;

MotionHelperWorker::UpdateCallback MotionWorker::updateCallback() const
{
    return updateCallback_ ? *updateCallback_ : UpdateCallback{};
}

void MotionWorker::setUpdateCallback(UpdateCallback callback)
{
    updateCallback_ = callback ? std::make_shared<const UpdateCallback>(std::move(callback)) : nullptr;
}

void MotionWorker::setResponseQueue(std::shared_ptr<DispatchQueue> queue)
{
    responseQueue_ = std::move(queue);
}

void MotionWorker::handleGyroData(const std::optional<CMGyroData>& /*sample*/, const SampleError& /*error*/)
{
}

void MotionWorker::handleDeviceMotion(
    const std::optional<CMDeviceMotion>& /*sample*/, const SampleError& /*error*/)
{
}

void MotionWorker::deliver(Outcome outcome) const
{
    if (!updateCallback_)
        return;
    const std::shared_ptr<DispatchQueue> queue = responseQueue_ ? responseQueue_ : dispatch_.mainQueue();
    queue->async([callback = updateCallback_, outcome = std::move(outcome)] { (*callback)(outcome); });
}

} // namespace tamsel
