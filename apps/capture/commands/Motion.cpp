#include "commands/commands.h"

#include "Environment.h"
#include "Files.h"
#include "options/Unusable.h"
#include "options/values.h"
#include "pictures/MotionPlot.h"
#include "report/MotionReport.h"
#include "report/StatusLine.h"
#include "seconds.h"

#include <tamsel/platform/RunLoops.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <span>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

struct MotionCommandOptions : MotionOptions {
    std::string source = "sensors"; ///< of this machine; or a log
    bool isInRealTime = false;
    std::optional<std::string> plot;
};

/// Runs motion detection alone and reports its verdicts.
class MotionCommand final : public OvriSourceToSession, public std::enable_shared_from_this<MotionCommand> {
public:
    MotionCommand(const GlobalOptions& global, const MotionCommandOptions& options, Environment& environment);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;

private:
    void drawPlot();

    const GlobalOptions& global_;
    const MotionCommandOptions options_;
    Environment& environment_;
    Console console_;
    const std::shared_ptr<MotionReport> report_;
};

/// After the last row of the log, for verdicts that are still due.
constexpr auto settleTime = 500ms;

MotionCommand::MotionCommand(
    const GlobalOptions& global, const MotionCommandOptions& options, Environment& environment)
    : global_(global),
      options_(options),
      environment_(environment),
      console_(global.json),
      report_(std::make_shared<MotionReport>(console_, environment.platform().clock, options.log))
{
}

void MotionCommand::sourceManagerDidGetSourceError(OvriSourceManager& /*manager*/, const SourceError& error)
{
    if (const auto* motionError = std::get_if<MotionHelperError>(&error))
        console_.fail(*motionError);
}

void MotionCommand::drawPlot()
{
    if (!options_.plot)
        return;
    const std::string plot = plotOf(*options_.log, options_, report_->verdicts());
    if (const auto written = writeFile(std::as_bytes(std::span(plot)), *options_.plot); !written)
        console_.fail(written.error());
}

ExitStatus MotionCommand::run()
{
    Platform& platform = environment_.platform();
    MotionOptions motion = options_;
    if (!motion.stability && !motion.facingAngle)
        motion = withPossibleVerdicts(std::move(motion), platform);
    if (const auto missing = missingFor(motion, platform)) {
        console_.writeError("serviceNotAvailable", missing);
        throw Unusable(*missing);
    }
    auto manager = OvriSourceManager::create({SourceType::stability(), SourceType::facingAngle()},
        global_.sessionPreset(), environment_.makeQueue("org.tamsel.capture.response"), platform);
    manager->setDelegate(weak_from_this());
    RunLoop& loop = platform.runLoops.current();
    const nanoseconds start = platform.clock.monotonic();
    report_->start(*manager, report_, motion);

    bool isInterrupted = false;
    bool isOver = false;
    if (motion.log)
        loop.scheduleTimer(motion.log->length() + settleTime, false, [&](Timer&) { isOver = true; });
    {
        std::optional<StatusLine> line;
        if (motion.log) {
            line.emplace(console_, loop, [&, progress = Progress("s")] {
                const double length = seconds(motion.log->length());
                return progress.text(std::min(seconds(platform.clock.monotonic() - start), length), length);
            });
        }
        environment_.runUntil([&] { return isOver || isInterrupted; }, [&] { isInterrupted = true; });
    }
    manager->stopAllSessions();
    manager = nullptr; // no further reports
    drawPlot();
    return console_.endSession(isInterrupted);
}

} // namespace

void addMotion(Program& program)
{
    const auto options = std::make_shared<MotionCommandOptions>();
    const auto run = [&global = program.global, options] {
        const bool usesSensors = options->source == "sensors";
        if (usesSensors)
            global.requireHost("has no sensors of this machine: give it a log");
        else
            options->logFile = options->source;
        if (options->isInRealTime)
            global.requireHost("has no real time: --real-time goes with --backend host");
        if (options->plot && usesSensors)
            throw Unusable("--plot draws a log");
        if (options->plot)
            requireEnding(*options->plot, {".svg"});
        claimOutputs({options->plot ? &*options->plot : nullptr}, {options->logFile}, global.overwrites);
        options->readLog();
        const auto environment = makeEnvironment(global,
            {.isOnVirtualTime = options->log && !options->isInRealTime,
                .reportsErrors = true,
                .motionLog = options->log});
        return std::make_shared<MotionCommand>(global, *options, *environment)->run();
    };
    CLI::App& command = addCommand(program, "motion",
        "judge whether the device is held still and tilted far enough. Without --stability and "
        "--facing-angle it gives each verdict that the log has columns for",
        run);
    addValue(command, "LOG", options->source, "",
        "a log of motion sensors (CSV), or the word sensors for those of this machine (default: sensors)",
        text);
    command.add_flag("--stability", options->stability, "judge only whether it is held still");
    command.add_flag("--facing-angle", options->facingAngle, "judge only whether it is tilted far enough");
    addVerdictOptions(command, *options);
    command.add_flag(
        "--real-time", options->isInRealTime, "run at the pace of the log, not as fast as possible");
    addValue(
        command, "--plot", options->plot, "FILE.svg", "save a picture of the log and the verdicts", text);
}

} // namespace tamsel::capture
