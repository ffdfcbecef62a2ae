#include "commands/FramesCommand.h"

#include "report/JsonLine.h"
#include "report/Ledger.h"
#include "report/SessionErrors.h"
#include "report/StatusLine.h"
#include "seconds.h"

#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/RunLoops.h>

#include <array>
#include <cstdio>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

constexpr auto drainLimit = 5s;

} // namespace

FramesCommand::FramesCommand(const Options& options, Environment& environment)
    : options_(options),
      environment_(environment),
      console_(options.json),
      motionTeller_(options.motion.log
              ? std::make_shared<MotionTeller>(console_, environment.platform().clock, options.motion.log)
              : nullptr),
      frameTeller_(std::make_shared<FrameTeller>(options, environment, console_)),
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
    ++frameErrors_; // there may be many: told together at the end
}

void FramesCommand::sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame)
{
    const std::uint64_t index = frameTeller_->tell(frame);
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
    console_.write(
        options_.json ? JsonLine("suspend").string() : "suspended: the application is in the background");
}

void FramesCommand::sourceManagerCameraDidResume(OvriSourceManager& /*manager*/)
{
    console_.write(options_.json ? JsonLine("resume").string() : "resumed");
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
    const FrameTeller::Summary frames = frameTeller_->summary().value_or(FrameTeller::Summary{});
    std::array<char, 100> text{};
    std::snprintf(text.data(), text.size(), "%llu frames  %.1f/s  %llu dropped  delay %.1f ms",
        static_cast<unsigned long long>(frameTeller_->count()), frames.framesPerSecond,
        static_cast<unsigned long long>(counts.dropped()), seconds(frames.delay) * 1e3);
    return text.data();
}

void FramesCommand::summarize()
{
    const FrameCounts counts = manager_->frameCounts();
    if (options_.json) {
        JsonLine summary("summary");
        console_.write(addLedger(summary, counts));
        return;
    }
    const auto frames = frameTeller_->summary();
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
    const SourceType source = options_.source();
    if (!frameTeller_->prepare())
        return ExitStatus::failed;
    manager_ = OvriSourceManager::create(
        {source, SourceType::stability()}, options_.sessionPreset(), responseQueue_, platform);
    const auto view = std::make_shared<UIView>(CGSize{640, 480});
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view); !started) {
        reportError(started.error());
        manager_ = nullptr;
        return ExitStatus::failed;
    }
    if (motionTeller_)
        motionTeller_->start(*manager_, motionTeller_, withPossibleVerdicts(options_.motion, platform));

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
                = manager_->frameCounts().inFlight == 0 && !frameTeller_->hasPicturesUnderWay();
            return isDrained || platform.clock.monotonic() > limit;
        },
        onInterrupt);
    tick->invalidate();

    const bool hasPictures = frameTeller_->finishPictures();
    summarize();
    const std::uint64_t lost = isCameraLost(manager_->frameCounts()) ? 1 : 0;
    if (frameErrors_ > lost)
        console_.fail(std::to_string(frameErrors_ - lost)
            + (frameErrors_ == lost + 1 ? " frame was dropped" : " frames were dropped"));
    const bool isComplete = !options_.count || frameTeller_->count() >= *options_.count;
    if (!isComplete && !isInterrupted)
        console_.fail("only " + std::to_string(frameTeller_->count()) + " of "
            + std::to_string(*options_.count) + " frames came");
    manager_ = nullptr;
    if (isInterrupted) {
        console_.fail("interrupted");
        return ExitStatus::interrupted;
    }
    return console_.hasFailed() || !hasPictures ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
