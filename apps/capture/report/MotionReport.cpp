#include "report/MotionReport.h"

#include "seconds.h"

#include <tamsel/platform/MotionServices.h>
#include <tamsel/platform/Platform.h>

#include <array>
#include <cstdio>
#include <utility>

namespace tamsel::capture {

using Kind = MotionVerdict::Kind;

MotionReport::MotionReport(
    Console& console, platform::Clock& clock, std::shared_ptr<const formats::MotionLog> log)
    : console_(console),
      clock_(clock),
      log_(std::move(log))
{
}

void MotionReport::start(OvriSourceManager& manager, const std::shared_ptr<OvriMotionSourceDelegate>& self,
    const MotionOptions& options, std::optional<std::chrono::nanoseconds> zero)
{
    std::vector<SourceType> sources;
    if (options.stability)
        sources.push_back(SourceType::stability());
    if (options.facingAngle)
        sources.push_back(SourceType::facingAngle());
    start_ = zero.value_or(clock_.monotonic());
    manager.startMotionDetection(sources, self,
        {{"stabilityThreshold", options.threshold}, {"stabilityDuration", options.duration},
            {"angle", options.angle}});
}

void MotionReport::sourceManagerDidDetectStability(OvriSourceManager& /*manager*/, bool isStable)
{
    add(Kind::stability, isStable);
}

void MotionReport::sourceManagerDidDetectFacingAngle(OvriSourceManager& /*manager*/, bool isFacing)
{
    add(Kind::facingAngle, isFacing);
}

void MotionReport::add(Kind kind, bool holds)
{
    const double first = log_ ? log_->firstTime() : 0;
    const double time = first + seconds(clock_.monotonic() - start_);
    {
        const MutexLock lock(guard_);
        verdicts_.push_back({kind, holds, time});
    }
    const bool isStability = kind == Kind::stability;
    console_.writeEvent(isStability ? "stability" : "facingAngle",
        {{isStability ? "stable" : "facing", holds}, {"time", numberOf(time)}});
    std::array<char, 80> line{};
    std::snprintf(line.data(), line.size(), "%10.3f s  %s", time, describe(kind, holds));
    console_.write(line.data());
}

std::vector<MotionVerdict> MotionReport::verdicts() const
{
    const MutexLock lock(guard_);
    return verdicts_;
}

MotionOptions withPossibleVerdicts(MotionOptions options, platform::Platform& platform)
{
    const auto sensors = platform.motion.makeMotionManager();
    options.stability = sensors->isGyroAvailable();
    options.facingAngle = sensors->isDeviceMotionAvailable();
    return options;
}

std::optional<std::string> missingFor(const MotionOptions& options, platform::Platform& platform)
{
    const MotionOptions possible = withPossibleVerdicts(options, platform);
    const auto missing = [&](const char* what, const char* verdict) {
        return (options.log ? *options.logFile + " has no " : std::string("there is no ")) + what
            + ": whether the device is " + verdict + " cannot be judged";
    };
    if (options.stability && !possible.stability)
        return missing(options.log ? "rotation rates" : "gyroscope", "held still");
    if (options.facingAngle && !possible.facingAngle)
        return missing("attitude", "tilted far enough");
    if (!possible.stability && !possible.facingAngle)
        return "this machine has no motion sensors";
    return std::nullopt;
}

const char* describe(Kind kind, bool holds)
{
    if (kind == Kind::stability)
        return holds ? "held still" : "moved";
    return holds ? "tilted far enough" : "not tilted far enough";
}

} // namespace tamsel::capture
