#include <tamsel/client/CaptureGate.h>

#include <tamsel/platform/Clock.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/RunLoop.h>

#include <algorithm>
#include <utility>

namespace tamsel {

using namespace platform;
using std::chrono::nanoseconds;
using Kind = CaptureCondition::Kind;

std::shared_ptr<CaptureGate> CaptureGate::create(std::vector<CaptureCondition> conditions,
    std::shared_ptr<DispatchQueue> responseQueue, WhenOpen whenOpen, Platform& platform, nanoseconds viewTime)
{
    return std::make_shared<CaptureGate>(
        Private{}, std::move(conditions), std::move(responseQueue), std::move(whenOpen), platform, viewTime);
}

CaptureGate::CaptureGate(Private, std::vector<CaptureCondition> conditions,
    std::shared_ptr<DispatchQueue> responseQueue, WhenOpen whenOpen, Platform& platform, nanoseconds viewTime)
    : responseQueue_(std::move(responseQueue)),
      whenOpen_(std::move(whenOpen)),
      clock_(platform.clock),
      viewTime_(viewTime)
{
    states_.reserve(conditions.size());
    for (const CaptureCondition& condition : conditions)
        states_.push_back({.condition = condition, .holds = false, .lastSeen = std::nullopt});
}

void CaptureGate::arm()
{
    {
        const MutexLock lock(guard_);
        if (std::exchange(isArmed_, true))
            return;
    }
    look();
}

void CaptureGate::retry()
{
    {
        const MutexLock lock(guard_);
        isArmed_ = true;
        hasOpened_ = false;
    }
    look();
}

void CaptureGate::look()
{
    responseQueue_->async(whileAlive(weak_from_this(), [](CaptureGate& self) { self.take({}); }));
}

void CaptureGate::cancel()
{
    const MutexLock lock(guard_);
    isArmed_ = false;
}

bool CaptureGate::isArmed() const
{
    const MutexLock lock(guard_);
    return isArmed_;
}

std::vector<CaptureCondition> CaptureGate::missing() const
{
    const nanoseconds now = clock_.monotonic();
    std::vector<CaptureCondition> missing;
    const MutexLock lock(guard_);
    for (const State& state : states_) {
        if (!holds(state, now))
            missing.push_back(state.condition);
    }
    return missing;
}

bool CaptureGate::holds(const State& state, nanoseconds now) const
{
    return state.holds || (state.lastSeen && now - *state.lastSeen <= viewTime_);
}

bool CaptureGate::isWhole(nanoseconds now) const
{
    return std::ranges::all_of(states_, [&](const State& state) { return holds(state, now); });
}

void CaptureGate::take(const std::function<void(State&, nanoseconds now)>& news)
{
    {
        const nanoseconds now = clock_.monotonic();
        const MutexLock lock(guard_);
        // A verdict ends by a report, a code or a face by the lack of one: the next report shows both.
        if (states_.empty() || !isWhole(now))
            hasOpened_ = false;
        if (news)
            std::ranges::for_each(states_, [&](State& state) { news(state, now); });
        if (!isArmed_ || hasOpened_ || !isWhole(now))
            return;
        isArmed_ = false;
        hasOpened_ = true;
    }
    const std::shared_ptr<CaptureGate> self = shared_from_this(); // the client may release the gate
    whenOpen_();
}

void CaptureGate::sourceManagerDidDetectStability(OvriSourceManager& /*manager*/, bool isStable)
{
    take([&](State& state, nanoseconds /*now*/) {
        if (state.condition.kind() == Kind::still)
            state.holds = isStable;
    });
}

void CaptureGate::sourceManagerDidDetectFacingAngle(OvriSourceManager& /*manager*/, bool isFacing)
{
    take([&](State& state, nanoseconds /*now*/) {
        if (state.condition.kind() == Kind::tilted)
            state.holds = isFacing;
    });
}

void CaptureGate::sourceManagerDidDetect(
    OvriSourceManager& /*manager*/, const OvriMetadataFaceObject& /*face*/)
{
    take([&](State& state, nanoseconds now) {
        if (state.condition.kind() == Kind::face)
            state.lastSeen = now;
    });
}

void CaptureGate::sourceManagerDidDetect(
    OvriSourceManager& /*manager*/, const std::vector<OvriMetadataMachineReadableCodeObject>& codes)
{
    take([&](State& state, nanoseconds now) {
        if (state.condition.kind() != Kind::code)
            return;
        const std::optional<MetadataObjectType> wanted = state.condition.codeType();
        const bool isSeen
            = std::ranges::any_of(codes, [&](const auto& code) { return !wanted || code.type() == wanted; });
        if (isSeen)
            state.lastSeen = now;
    });
}

} // namespace tamsel
