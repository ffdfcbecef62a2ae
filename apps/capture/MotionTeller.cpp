#include "MotionTeller.h"

#include "JsonLine.h"
#include "seconds.h"

#include <array>
#include <cstdio>
#include <utility>

namespace tamsel::capture {

using Kind = MotionVerdict::Kind;

MotionTeller::MotionTeller(
    Console& console, platform::Clock& clock, std::shared_ptr<const engine::MotionLog> log)
    : console_(console),
      clock_(clock),
      log_(std::move(log))
{
}

void MotionTeller::start(OvriSourceManager& manager, const std::shared_ptr<OvriMotionSourceDelegate>& self,
    const MotionOptions& options, std::optional<std::chrono::nanoseconds> zero)
{
    const bool hasPitch = log_ && log_->hasPitch();
    const bool isChosen = options.stability || options.facingAngle;
    std::vector<SourceType> sources;
    if (!isChosen || options.stability)
        sources.push_back(SourceType::stability());
    if (options.facingAngle || (!isChosen && (hasPitch || !log_)))
        sources.push_back(SourceType::facingAngle());
    expectsVerdicts_ = log_ && (hasPitch || sources.front() == SourceType::stability());

    start_ = zero.value_or(clock_.monotonic());
    manager.startMotionDetection(sources, self,
        {{"stabilityThreshold", options.threshold}, {"stabilityDuration", options.duration},
            {"angle", options.angle}});
}

void MotionTeller::sourceManagerDidDetectStability(OvriSourceManager& /*manager*/, bool isStable)
{
    tell(Kind::stability, isStable);
}

void MotionTeller::sourceManagerDidDetectFacingAngle(OvriSourceManager& /*manager*/, bool isFacing)
{
    tell(Kind::facingAngle, isFacing);
}

void MotionTeller::tell(Kind kind, bool holds)
{
    const double first = log_ ? log_->firstTime() : 0;
    const double time = first + seconds(clock_.monotonic() - start_);
    {
        const std::lock_guard lock(guard_);
        verdicts_.push_back({kind, holds, time});
    }
    if (console_.wantsEvents()) {
        const bool isStability = kind == Kind::stability;
        console_.write(JsonLine(isStability ? "stability" : "facingAngle")
                .boolean(isStability ? "stable" : "facing", holds)
                .number("time", time));
    }
    if (console_.isJson())
        return;
    std::array<char, 80> line{};
    std::snprintf(line.data(), line.size(), "%10.3f s  %s", time, describe(kind, holds));
    console_.write(line.data());
}

std::vector<MotionVerdict> MotionTeller::verdicts() const
{
    const std::lock_guard lock(guard_);
    return verdicts_;
}

const char* describe(Kind kind, bool holds)
{
    if (kind == Kind::stability)
        return holds ? "held still" : "moved";
    return holds ? "tilted far enough" : "not tilted far enough";
}

} // namespace tamsel::capture
