#include "commands/MotionCommand.h"

#include "Files.h"
#include "pictures/MotionPlot.h"
#include "report/StatusLine.h"
#include "seconds.h"

#include <tamsel/platform/RunLoops.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

/// After the log's last row: for what is still under way.
constexpr auto settleTime = 500ms;

} // namespace

MotionCommand::MotionCommand(const Options& options, Environment& environment)
    : options_(options),
      environment_(environment),
      console_(options.json),
      teller_(std::make_shared<MotionTeller>(console_, environment.platform().clock, options.motion.log))
{
}

void MotionCommand::sourceManagerDidGetSourceError(OvriSourceManager& /*manager*/, const SourceError& error)
{
    if (const auto* motionError = std::get_if<MotionHelperError>(&error))
        console_.fail(*motionError);
}

void MotionCommand::drawPlot()
{
    if (!options_.motion.plot)
        return;
    const std::string plot = plotOf(*options_.motion.log, options_.motion, teller_->verdicts());
    if (const auto written = writeFile(std::as_bytes(std::span(plot)), *options_.motion.plot); !written)
        console_.fail(written.error());
}

ExitStatus MotionCommand::run()
{
    Platform& platform = environment_.platform();
    MotionOptions motion = options_.motion;
    if (!motion.stability && !motion.facingAngle)
        motion = withPossibleVerdicts(std::move(motion), platform);
    if (const auto missing = missingFor(motion, platform)) {
        console_.writeError("serviceNotAvailable", missing);
        console_.fail(*missing);
        return ExitStatus::failed;
    }
    auto manager = OvriSourceManager::create({SourceType::stability(), SourceType::facingAngle()},
        options_.sessionPreset(), environment_.makeQueue("org.tamsel.capture.response"), platform);
    manager->setDelegate(weak_from_this());
    RunLoop& loop = platform.runLoops.current();
    const nanoseconds start = platform.clock.monotonic();
    teller_->start(*manager, teller_, motion);

    bool isInterrupted = false;
    bool isOver = false;
    if (motion.log)
        loop.scheduleTimer(motion.log->length() + settleTime, false, [&](Timer&) { isOver = true; });
    {
        std::optional<StatusLine> line;
        if (motion.realTime && motion.log) {
            line.emplace(console_, loop, [&] {
                std::array<char, 60> text{};
                const double length = seconds(motion.log->length());
                std::snprintf(text.data(), text.size(), "%.1f of %.1f s",
                    std::min(seconds(platform.clock.monotonic() - start), length), length);
                return std::string(text.data());
            });
        }
        environment_.runUntil([&] { return isOver || isInterrupted; }, [&] { isInterrupted = true; });
    }
    manager->stopAllSessions();
    manager = nullptr; // nothing is told from here on
    drawPlot();
    if (isInterrupted) {
        console_.fail("interrupted");
        return ExitStatus::interrupted;
    }
    return console_.hasFailed() ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
