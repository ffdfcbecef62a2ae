#include "commands/commands.h"

#include "Environment.h"
#include "Files.h"
#include "options/values.h"
#include "pictures/Picture.h"
#include "report/FrameReport.h"
#include "report/Ledger.h"
#include "report/MotionReport.h"
#include "report/SessionErrors.h"
#include "report/StatusLine.h"
#include "seconds.h"

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/RunLoops.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

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
    bool reportsMotion = false;
};

/// Runs one camera session and reports what reaches its client: as a table, or as one JSON object a line.
class FramesCommand final : public OvriSourceToSession, public std::enable_shared_from_this<FramesCommand> {
public:
    FramesCommand(const GlobalOptions& global, FramesOptions options, Environment& environment);

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

    const GlobalOptions& global_;
    const FramesOptions options_;
    Environment& environment_;
    Console console_;
    const std::shared_ptr<MotionReport> motionReport_; ///< absent where no motion is asked for
    const std::shared_ptr<FrameReport> frameReport_;
    std::shared_ptr<platform::DispatchQueue> responseQueue_;
    std::shared_ptr<OvriSourceManager> manager_;

    std::atomic<bool> shouldEnd_ = false;
    std::atomic<std::uint64_t> frameErrors_ = 0;
};

constexpr auto drainLimit = 5s;

FramesCommand::FramesCommand(const GlobalOptions& global, FramesOptions options, Environment& environment)
    : global_(global),
      options_(std::move(options)),
      environment_(environment),
      console_(global.json),
      motionReport_(options_.reportsMotion
              ? std::make_shared<MotionReport>(console_, environment.platform().clock, options_.motion.log)
              : nullptr),
      frameReport_(std::make_shared<FrameReport>(options_.pictures, environment, console_)),
      responseQueue_(environment.makeQueue("org.tamsel.capture.response"))
{
}

void FramesCommand::reportError(const CameraError& error)
{
    if (error.kind() != CameraError::Case::videoFrameError) {
        console_.fail(error);
        return;
    }
    console_.writeError(error.name(), error.reason());
    ++frameErrors_; // there may be many: reported together at the end
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
    const bool isLost = isCameraLost(manager.frameCounts());
    if (cameraError->kind() != CameraError::Case::videoFrameError || isLost) {
        if (isLost && !shouldEnd_)
            console_.fail("the camera was lost");
        requestEnd(manager);
    }
}

void FramesCommand::sourceManagerCameraDidSuspend(OvriSourceManager& /*manager*/)
{
    console_.writeEvent("suspend");
    if (!console_.isJson())
        console_.write("suspended: the application is in the background");
}

void FramesCommand::sourceManagerCameraDidResume(OvriSourceManager& /*manager*/)
{
    console_.writeEvent("resume");
    if (!console_.isJson())
        console_.write("resumed");
}

void FramesCommand::requestEnd(OvriSourceManager& manager)
{
    manager.stopCameraSession(); // at once, so that no further frame comes
    if (!shouldEnd_.exchange(true))
        environment_.platform().dispatch.mainQueue()->async([] { }); // wakes the main loop
}

std::string FramesCommand::status() const
{
    const FrameCounts counts = manager_->frameCounts();
    const FrameReport::Summary frames = frameReport_->summary().value_or(FrameReport::Summary{});
    std::array<char, 100> text{};
    std::snprintf(text.data(), text.size(), "%llu frames  %.1f/s  %llu dropped  delay %.1f ms",
        static_cast<unsigned long long>(frameReport_->count()), frames.framesPerSecond,
        static_cast<unsigned long long>(counts.dropped()), seconds(frames.delay) * 1e3);
    return text.data();
}

void FramesCommand::summarize()
{
    const FrameCounts counts = manager_->frameCounts();
    console_.writeEvent("summary", ledgerJson(counts));
    if (console_.isJson())
        return;
    const auto frames = frameReport_->summary();
    if (frames)
        std::printf("Camera session, %zu x %zu pixels", frames->width, frames->height);
    else
        std::printf("Camera session without a frame");
    if (frames && frames->framesPerSecond > 0)
        std::printf(", %.1f frames per second", frames->framesPerSecond);
    std::printf("\n");
    printLedger(counts);
    std::fflush(stdout);
}

ExitStatus FramesCommand::run()
{
    Platform& platform = environment_.platform();
    const SourceType source = cameraSource(options_.usesFrontCamera, false);
    manager_ = OvriSourceManager::create(
        {source, SourceType::stability()}, global_.sessionPreset(), responseQueue_, platform);
    const auto view = std::make_shared<UIView>(CGSize{640, 480});
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view); !started) {
        reportError(started.error());
        manager_ = nullptr;
        return ExitStatus::failed;
    }
    if (motionReport_) {
        if (const auto missing = missingFor(options_.motion, platform))
            console_.fail(*missing);
        motionReport_->start(*manager_, motionReport_, withPossibleVerdicts(options_.motion, platform));
    }

    bool isInterrupted = false;
    bool isOver = false;
    RunLoop& loop = platform.runLoops.current();
    if (options_.seconds) {
        const auto length = nanosecondsOf(*options_.seconds);
        loop.scheduleTimer(length, false, [&](Timer&) { isOver = true; });
    }
    const auto onInterrupt = [&] { isInterrupted = true; };
    {
        const StatusLine line(console_, loop, [this] { return status(); });
        environment_.runUntil([&] { return shouldEnd_ || isOver || isInterrupted; }, onInterrupt);
    }

    manager_->stopAllSessions();
    const nanoseconds limit = platform.clock.monotonic() + drainLimit;
    const std::shared_ptr<Timer> tick = loop.scheduleTimer(5ms, true, [](Timer&) { });
    environment_.runUntil(
        [&] {
            const bool isDrained
                = manager_->frameCounts().inFlight == 0 && !frameReport_->hasPicturesUnderWay();
            return isDrained || platform.clock.monotonic() > limit;
        },
        onInterrupt);
    tick->invalidate();

    (void)frameReport_->finishPictures();
    summarize();
    const std::uint64_t lost = isCameraLost(manager_->frameCounts()) ? 1 : 0;
    if (frameErrors_ > lost)
        console_.fail(std::to_string(frameErrors_ - lost)
            + (frameErrors_ == lost + 1 ? " frame was dropped" : " frames were dropped"));
    const bool isComplete = !options_.count || frameReport_->count() >= *options_.count;
    if (!isComplete && !isInterrupted)
        console_.fail("only " + std::to_string(frameReport_->count()) + " of "
            + std::to_string(*options_.count) + " frames came");
    manager_ = nullptr;
    return console_.endSession(isInterrupted);
}

} // namespace

void addFrames(Program& program)
{
    const auto options = std::make_shared<FramesOptions>();
    const auto run = [&global = program.global, options] {
        FramePictures& pictures = options->pictures;
        pictures.folder = global.outputFolder;
        std::vector<std::string*> outputs;
        if (pictures.contactSheet) {
            requirePictureEnding(*pictures.contactSheet);
            outputs.push_back(&*pictures.contactSheet);
        }
        claimOutputs(outputs, {global.back.value_or(""), global.front.value_or("")}, global.overwrites);
        options->reportsMotion = options->motion.logFile.has_value();
        options->motion.readLog();
        const auto environment = makeEnvironment(global,
            {.cameras = true,
                .usesFrontCamera = options->usesFrontCamera,
                .motionLog = options->motion.log,
                .seconds = options->seconds});
        return std::make_shared<FramesCommand>(global, *options, *environment)->run();
    };
    CLI::App& command = addCommand(program, "frames",
        "run a camera and count its frames. Ends when it is interrupted or a limit is reached", run);
    addCamera(command, options->usesFrontCamera);
    addValue(command, "--count", options->count, "N", "end after N frames", count);
    addValue(command, "--seconds", options->seconds, "S", "end after S seconds", secondsAboveZero);
    addFramePictures(command, options->pictures);
    addValue(command, "--motion", options->motion.logFile, "LOG",
        "report motion verdicts, too: of a log, which is replayed beside the frames, or of the sensors of "
        "this machine "
        "(the word sensors)",
        text);
}

} // namespace tamsel::capture
