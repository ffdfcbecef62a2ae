#include "MotionCommand.h"

#include "Files.h"
#include "MotionPlot.h"
#include "StatusLine.h"
#include "seconds.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <span>

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

std::optional<nanoseconds> MotionCommand::length() const
{
    if (!teller_->expectsVerdicts())
        return settleTime; // nothing but errors will come
    if (!options_.motion.log)
        return std::nullopt;
    return options_.motion.log->length() + settleTime;
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
    auto manager = OvriSourceManager::create({SourceType::stability(), SourceType::facingAngle()},
        options_.sessionPreset(), environment_.makeQueue("org.tamsel.capture.response"), platform);
    manager->setDelegate(weak_from_this());
    RunLoop& loop = platform.runLoops.current();
    const nanoseconds start = platform.clock.monotonic();
    teller_->start(*manager, teller_, options_.motion);

    bool isInterrupted = false;
    bool isOver = false;
    const std::optional<nanoseconds> limit = length();
    if (limit)
        loop.scheduleTimer(*limit, false, [&](Timer&) { isOver = true; });
    {
        std::optional<StatusLine> line;
        if (options_.motion.realTime) {
            line.emplace(console_, loop, [&] {
                std::array<char, 60> text{};
                const double length = limit ? seconds(*limit - settleTime) : 0;
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
