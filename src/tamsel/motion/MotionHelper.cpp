#include <tamsel/motion/MotionHelper.h>

#include <tamsel/motion/FacingAngleWorker.h>
#include <tamsel/motion/StabilityWorker.h>
#include <tamsel/platform/MotionServices.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/core/Reports.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace tamsel {

using namespace platform;

namespace {

constexpr const char* queueLabel = "org.tamsel.sourcemanager.sdk.motion-manager";
constexpr const char* samplesLabel = "org.tamsel.sourcemanager.MotionHelper.motionManagerQueue";

/// The shortest interval that any worker needs; absent without workers.
template <typename Need>
std::optional<double> shortestInterval(const std::vector<CoreMotionCapability>& capabilities)
{
    double shortest = std::numeric_limits<double>::max();
    bool isNeeded = false;
    for (const CoreMotionCapability& capability : capabilities) {
        if (const auto* need = std::get_if<Need>(&capability.value())) {
            isNeeded = true;
            shortest = std::min(shortest, need->updateInterval);
        }
    }
    return isNeeded ? std::optional(shortest) : std::nullopt;
}

} // namespace

/// The two motion services differ in these names, and in the source of the reported errors.
template <> struct MotionHelper::Service<CMGyroData> {
    static constexpr auto isAvailable = &CMMotionManager::isGyroAvailable;
    static constexpr auto isActive = &CMMotionManager::isGyroActive;
    static constexpr auto setUpdateInterval = &CMMotionManager::setGyroUpdateInterval;
    static constexpr auto start = &CMMotionManager::startGyroUpdates;
    static constexpr auto stop = &CMMotionManager::stopGyroUpdates;
    static constexpr auto handle = &MotionHelperWorker::handleGyroData;
    static constexpr auto capability = DeviceError::Capability::gyro;
    static constexpr bool reportsErrors = true;
};

template <> struct MotionHelper::Service<CMDeviceMotion> {
    static constexpr auto isAvailable = &CMMotionManager::isDeviceMotionAvailable;
    static constexpr auto isActive = &CMMotionManager::isDeviceMotionActive;
    static constexpr auto setUpdateInterval = &CMMotionManager::setDeviceMotionUpdateInterval;
    static constexpr auto start = &CMMotionManager::startDeviceMotionUpdates;
    static constexpr auto stop = &CMMotionManager::stopDeviceMotionUpdates;
    static constexpr auto handle = &MotionHelperWorker::handleDeviceMotion;
    static constexpr auto capability = DeviceError::Capability::motion;
    static constexpr bool reportsErrors = false;
};

std::shared_ptr<MotionHelper> MotionHelper::create(
    std::shared_ptr<DispatchQueue> responseQueue, Platform& platform)
{
    return std::make_shared<MotionHelper>(Private{}, std::move(responseQueue), platform);
}

MotionHelper::MotionHelper(Private, std::shared_ptr<DispatchQueue> responseQueue, Platform& platform)
    : platform_(platform),
      queue_(platform.dispatch.makeSerialQueue(queueLabel)),
      motionManager_(platform.motion.makeMotionManager()),
      motionManagerQueue_(platform.dispatch.makeSerialQueue(samplesLabel)),
      responseQueue_(std::move(responseQueue))
{
}

std::shared_ptr<MotionHelperWorker> MotionHelper::makeWorker(const MotionWorkerKind& kind) const
{
    if (const auto* stability = std::get_if<MotionWorkerKind::Stability>(&kind.value()))
        return std::make_shared<StabilityWorker>(stability->threshold, stability->duration, platform_);
    return std::make_shared<FacingAngleWorker>(
        std::get<MotionWorkerKind::FacingAngle>(kind.value()).angle, platform_);
}

UUID MotionHelper::registerWorker(const MotionWorkerKind& kind, MotionHelperWorker::UpdateCallback callback)
{
    const std::shared_ptr<MotionHelperWorker> worker = makeWorker(kind);
    worker->setUpdateCallback(std::move(callback)); // before any other thread sees the worker
    const UUID id = worker->id();
    // Strong: a registration takes place even when the owner releases the helper meanwhile.
    queue_->async([self = shared_from_this(), worker] {
        self->queue_->assertCurrent();
        worker->setResponseQueue(self->responseQueue_);
        self->workers_.push_back(worker);
        self->reconcileUpdates();
    });
    return id;
}

void MotionHelper::unregisterWorker(const UUID& id)
{
    queue_->async(whileAlive(weak_from_this(), [id](MotionHelper& self) {
        self.queue_->assertCurrent();
        std::erase_if(self.workers_,
            [&](const std::shared_ptr<MotionHelperWorker>& worker) { return worker->id() == id; });
        self.reconcileUpdates();
    }));
}

void MotionHelper::reconcileUpdates()
{
    queue_->assertCurrent();
    std::vector<CoreMotionCapability> needs;
    for (const std::shared_ptr<MotionHelperWorker>& worker : workers_)
        std::ranges::copy(worker->capabilities(), std::back_inserter(needs));

    if (const auto interval = shortestInterval<CoreMotionCapability::Gyro>(needs))
        configureUpdates<CMGyroData>(*interval);
    else
        stopUpdates<CMGyroData>();
    if (const auto interval = shortestInterval<CoreMotionCapability::DeviceMotion>(needs))
        configureUpdates<CMDeviceMotion>(*interval);
    else
        stopUpdates<CMDeviceMotion>();
}

template <typename Sample> void MotionHelper::stopUpdates()
{
    if (((*motionManager_).*Service<Sample>::isActive)())
        ((*motionManager_).*Service<Sample>::stop)();
}

template <typename Sample> void MotionHelper::configureUpdates(double interval)
{
    using Names = Service<Sample>;
    CMMotionManager& manager = *motionManager_;
    if (!(manager.*Names::isAvailable)()) {
        for (const std::shared_ptr<MotionHelperWorker>& worker : workers_) {
            DeviceError::capability({.subject = Names::capability}).report(platform_.reports);
            ((*worker).*Names::handle)(std::nullopt, MotionHelperError::ServiceNotAvailable{});
        }
        return;
    }
    (manager.*Names::setUpdateInterval)(interval); // also for a running stream
    if ((manager.*Names::isActive)())
        return;
    (manager.*Names::start)(motionManagerQueue_,
        [weakSelf = weak_from_this()](
            const std::optional<Sample>& sample, const std::shared_ptr<const Error>& error) {
            if (const std::shared_ptr<MotionHelper> self = weakSelf.lock())
                self->receive(sample, error);
        });
}

/// On the motion manager's queue.
template <typename Sample>
void MotionHelper::receive(const std::optional<Sample>& sample, const std::shared_ptr<const Error>& error)
{
    if (!((*motionManager_).*Service<Sample>::isActive)())
        return; // arrived after a stop
    queue_->async(whileAlive(
        weak_from_this(), [sample, error](MotionHelper& self) { self.handOut(sample, error.get()); }));
}

template <typename Sample> void MotionHelper::handOut(const std::optional<Sample>& sample, const Error* error)
{
    queue_->assertCurrent();
    if (error && Service<Sample>::reportsErrors)
        NativeError::error({.error = *error}).report(platform_.reports);
    const MotionHelperWorker::SampleError sampleError
        = error ? MotionHelperWorker::SampleError(*error) : std::nullopt;
    for (const std::shared_ptr<MotionHelperWorker>& worker : workers_)
        ((*worker).*Service<Sample>::handle)(sample, sampleError);
}

} // namespace tamsel
