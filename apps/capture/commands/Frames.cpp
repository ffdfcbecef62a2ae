#include "commands/commands.h"

#include "RecorderFiles.h"
#include "SessionClient.h"
#include "options/values.h"
#include "report/FrameReport.h"
#include "report/Ledger.h"
#include "report/MotionReport.h"
#include "report/StatusLine.h"
#include "report/Utf8.h"
#include "seconds.h"
#include "timeLimits.h"

#include <tamsel/platform/RunLoops.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

struct FramesOptions {
    bool usesFrontCamera = false;
    std::optional<std::uint64_t> count;
    std::optional<double> seconds;
    FramePictures pictures;
    MotionOptions motion;
    RecorderOptions recorder;
    bool reportsMotion = false;
};

/// Runs one camera session and reports its frames, as a table or as JSON.
class FramesCommand final : public SessionClient, public std::enable_shared_from_this<FramesCommand> {
public:
    FramesCommand(const GlobalOptions& global, const FramesOptions& options, Environment& environment,
        Console& console);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;
    void sourceManagerCameraDidSuspend(OvriSourceManager& manager) override;
    void sourceManagerCameraDidResume(OvriSourceManager& manager) override;

private:
    void reportError(const CameraError& error);
    void requestEnd(OvriSourceManager& manager);
    [[nodiscard]] std::string status() const;
    void summarize();

    const FramesOptions& options_;
    const std::shared_ptr<MotionReport> motionReport_; ///< absent where no motion is asked for
    const std::shared_ptr<FrameReport> frameReport_;
    std::atomic<bool> shouldEnd_ = false;
    std::atomic<std::uint64_t> frameErrors_ = 0;
};

constexpr auto drainLimit = 5s;

FramesCommand::FramesCommand(
    const GlobalOptions& global, const FramesOptions& options, Environment& environment, Console& console)
    : SessionClient(global, environment, console),
      options_(options),
      motionReport_(options.reportsMotion
              ? std::make_shared<MotionReport>(console, environment.platform().clock, options.motion.log)
              : nullptr),
      frameReport_(std::make_shared<FrameReport>(options.pictures, environment, console))
{
}

void FramesCommand::reportError(const CameraError& error)
{
    if (error.kind() != CameraError::Case::videoFrameError) {
        console_.fail(error);
        return;
    }
    console_.writeError(error.name(), error.reason());
    ++frameErrors_; // there may be many: summed up at the end
}

void FramesCommand::sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame)
{
    const std::uint64_t index = frameReport_->add(frame);
    if (options_.count && index + 1 >= *options_.count)
        requestEnd(manager);
}

void FramesCommand::sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error)
{
    if (const auto* motionError = std::get_if<MotionHelperError>(&error))
        console_.fail(*motionError);
    const auto* cameraError = std::get_if<CameraError>(&error);
    if (!cameraError)
        return;
    reportError(*cameraError);
    const bool isLost = manager.frameCounts().isDeviceLost();
    if (cameraError->kind() != CameraError::Case::videoFrameError || isLost) {
        if (isLost && !shouldEnd_)
            console_.fail("the camera was lost");
        requestEnd(manager);
    }
}

void FramesCommand::sourceManagerCameraDidSuspend(OvriSourceManager& /*manager*/)
{
    console_.writeEvent("suspend");
    console_.write("suspended: the application is in the background");
}

void FramesCommand::sourceManagerCameraDidResume(OvriSourceManager& /*manager*/)
{
    console_.writeEvent("resume");
    console_.write("resumed");
}

void FramesCommand::requestEnd(OvriSourceManager& manager)
{
    manager.stopCameraSession(); // at once, so that no further frame arrives
    if (!shouldEnd_.exchange(true))
        waiter_.wake();
}

std::string FramesCommand::status() const
{
    const FrameCounts counts = manager_->frameCounts();
    const FrameReport::Summary frames = frameReport_->summary().value_or(FrameReport::Summary{});
    return std::to_string(frameReport_->count())
        + (options_.count ? " of " + std::to_string(*options_.count) : "")
        + formatted(" frames  %.1f/s  %llu dropped  delay %.1f ms", frames.framesPerSecond,
            static_cast<unsigned long long>(counts.dropped()), seconds(frames.delay) * 1e3);
}

void FramesCommand::summarize()
{
    const FrameCounts counts = manager_->frameCounts();
    console_.writeEvent("summary", ledgerJson(counts));
    if (console_.isJson())
        return;
    const auto frames = frameReport_->summary();
    const bool hasRate = frames && frames->framesPerSecond > 0;
    console_.write("Camera session"
        + (frames ? formatted(", %zu x %zu pixels", frames->width, frames->height) : " without a frame")
        + (hasRate ? formatted(", %.1f frames per second", frames->framesPerSecond) : ""));
    writeLedger(console_, counts);
}

ExitStatus FramesCommand::run()
{
    Platform& platform = environment_.platform();
    const SourceType source = cameraSource(options_.usesFrontCamera, false);
    makeManager({source, SourceType::stability()}, global_.sessionPreset());
    if (!start(source, weak_from_this())) {
        manager_ = nullptr;
        return ExitStatus::failed;
    }
    if (motionReport_) {
        if (const auto missing = missingFor(options_.motion, platform))
            console_.fail(*missing);
        motionReport_->start(*manager_, motionReport_, withPossibleVerdicts(options_.motion, platform));
    }
    {
        const StatusLine line(console_, platform.runLoops.current(), [this] { return status(); });
        const nanoseconds length = options_.seconds ? nanosecondsOf(*options_.seconds) : forEver;
        (void)waiter_.waitFor(length, [this] { return shouldEnd_.load(); });
    }
    manager_->stopAllSessions();
    (void)waiter_.waitUninterrupted(drainLimit,
        [this] { return manager_->frameCounts().inFlight == 0 && !frameReport_->hasPicturesUnderWay(); });

    (void)frameReport_->finishPictures();
    summarize();
    const std::uint64_t lost = manager_->frameCounts().isDeviceLost() ? 1 : 0;
    if (frameErrors_ > lost)
        console_.fail(std::to_string(frameErrors_ - lost)
            + (frameErrors_ == lost + 1 ? " frame was dropped" : " frames were dropped"));
    const bool isComplete = !options_.count || frameReport_->count() >= *options_.count;
    if (!isComplete && !waiter_.isInterrupted())
        console_.fail("only " + std::to_string(frameReport_->count()) + " of "
            + std::to_string(*options_.count) + " frames arrived");
    manager_ = nullptr;
    return console_.endSession(waiter_.isInterrupted());
}

} // namespace

void addFrames(Program& program)
{
    const auto options = std::make_shared<FramesOptions>();
    const auto run = [&global = program.global, options] {
        const Inputs inputs{global.back, global.front, options->motion.logFile};
        claimFramePictures(options->pictures, inputs, global);
        const RecorderFiles files(options->recorder, inputs, global.overwrites);
        options->reportsMotion = options->motion.logFile.has_value();
        options->motion.readLog();
        auto environment = makeEnvironment(global,
            {.cameras = true,
                .withoutCamera = WithoutCamera::reportedPattern,
                .waitsForCamera = true,
                .usesFrontCamera = options->usesFrontCamera,
                .motionLog = options->motion.log,
                .recorder = files.recorder(),
                .writeRecording = files.writer(),
                .seconds = options->seconds});
        Console console(global.json);
        const ExitStatus status
            = std::make_shared<FramesCommand>(global, *options, *environment, console)->run();
        environment = nullptr; // so that its end is recorded, too
        return files.finish(console) ? status : std::max(status, ExitStatus::failed);
    };
    CLI::App& command = addCommand(program, "frames",
        "run a camera and count its frames. Ends when it is interrupted or a limit is reached", run);
    addCamera(command, options->usesFrontCamera);
    addValue(command, "--count", options->count, "N", "end after N frames", count);
    addValue(command, "--seconds", options->seconds, "S", "end after S seconds", secondsAboveZero);
    addFramePictures(command, options->pictures);
    addRecorder(command, options->recorder);
    addValue(command, "--motion", options->motion.logFile, "LOG",
        "report motion verdicts, too: of a log, which is replayed beside the frames, or of the sensors of "
        "this machine "
        "(the word sensors)",
        text);
}

} // namespace tamsel::capture
