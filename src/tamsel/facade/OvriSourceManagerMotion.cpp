// The manager's motion detection: workers of the helper, one of each kind.

#include <tamsel/facade/OvriSourceManager.h>

#include <tamsel/facade/doubleFor.h>
#include <tamsel/facade/tellDelegate.h>
#include <tamsel/motion/MotionHelper.h>

#include <algorithm>
#include <utility>

namespace tamsel {

using namespace platform;

namespace {

constexpr double defaultThreshold = 0.3; // radians per second
constexpr double defaultDuration = 0.8; // seconds
constexpr double defaultAngle = 45.0; // degrees

template <typename Case> bool contains(const std::vector<SourceType>& types)
{
    return std::ranges::any_of(
        types, [](const SourceType& type) { return std::holds_alternative<Case>(type.value()); });
}

/// Spelled out: with a conversion in the call g++ 12 warns of an uninitialised value.
SourceError sourceError(const MotionHelperError& error)
{
    return SourceError(std::in_place_type<MotionHelperError>, error);
}

} // namespace

void OvriSourceManager::makeMotionHelper(const std::vector<SourceType>& types)
{
    for (const SourceType& type : types) {
        if (std::holds_alternative<SourceType::Stability>(type.value())
            || std::holds_alternative<SourceType::FacingAngle>(type.value()))
            motionHelper_ = MotionHelper::create(responseQueue_, platform_);
    }
}

void OvriSourceManager::startMotionDetection(const std::vector<SourceType>& sources,
    std::weak_ptr<OvriMotionSourceDelegate> delegate, const Configurations& configurations)
{
    if (SessionObserver* observer = platform_.observer)
        observer->clientStartsMotionDetection(*this, sources, configurations, !delegate.expired());
    swapDelegate(&OvriSourceManager::motionDelegate_, std::move(delegate));
    if (contains<SourceType::FacingAngle>(sources))
        startFacingAngleDetection(configurations);
    if (contains<SourceType::Stability>(sources))
        startStabilityDetection(configurations);
}

void OvriSourceManager::startStabilityDetection(const Configurations& configurations)
{
    const double threshold = doubleFor("stabilityThreshold", configurations).value_or(defaultThreshold);
    const double duration = doubleFor("stabilityDuration", configurations).value_or(defaultDuration);
    const MutexLock lock(motionGuard_);
    replaceWorker(stabilityWorkerId_, MotionWorkerKind::stability(threshold, duration),
        &OvriMotionSourceDelegate::sourceManagerDidDetectStability);
}

void OvriSourceManager::startFacingAngleDetection(const Configurations& configurations)
{
    const double angle = doubleFor("angle", configurations).value_or(defaultAngle);
    const MutexLock lock(motionGuard_);
    replaceWorker(facingAngleWorkerId_, MotionWorkerKind::facingAngle(angle),
        &OvriMotionSourceDelegate::sourceManagerDidDetectFacingAngle);
}

void OvriSourceManager::replaceWorker(
    std::optional<UUID>& workerId, const MotionWorkerKind& kind, TellVerdict tellVerdict)
{
    if (!motionHelper_)
        return;
    if (workerId)
        motionHelper_->unregisterWorker(*workerId);
    // Called on the response queue already, so it delivers at once.
    workerId = motionHelper_->registerWorker(
        kind, [weakSelf = weak_from_this(), tellVerdict](const MotionHelperWorker::Outcome& outcome) {
            const std::shared_ptr<OvriSourceManager> self = weakSelf.lock();
            if (!self)
                return;
            if (!outcome) {
                if (const std::shared_ptr<OvriSourceToSession> session = self->delegate())
                    tell(self->platform_, *session,
                        [&, error = sourceError(outcome.error())](OvriSourceToSession& receiver) {
                            receiver.sourceManagerDidGetSourceError(*self, error);
                        });
            } else if (const std::shared_ptr<OvriMotionSourceDelegate> receiver = self->motionDelegate()) {
                tell(self->platform_, *receiver,
                    [&](OvriMotionSourceDelegate& each) { (each.*tellVerdict)(*self, *outcome); });
            }
        });
}

void OvriSourceManager::stopMotionWorkers()
{
    observe(&SessionObserver::clientStopsMotionDetection);
    if (!motionHelper_)
        return;
    const MutexLock lock(motionGuard_);
    for (std::optional<UUID>* workerId : {&stabilityWorkerId_, &facingAngleWorkerId_}) {
        if (*workerId)
            motionHelper_->unregisterWorker(**workerId);
        workerId->reset();
    }
}

} // namespace tamsel
