#include "FramesCommand.h"

#include "JsonLine.h"

#include <tamsel/platform/CALayer.h>

#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

constexpr auto statusInterval = 250ms;
constexpr auto drainLimit = 5s;

constexpr std::array<std::pair<const char*, const char*>, dropCauseCount> causes{{
    {"noBuffer", "no free buffer"},
    {"late", "the client was late"},
    {"deviceLost", "the camera was lost"},
    {"noReceiver", "nobody to receive them"},
}};

double seconds(nanoseconds duration)
{
    return std::chrono::duration<double>(duration).count();
}

} // namespace

FramesCommand::FramesCommand(const Options& options, Environment& environment)
    : options_(options),
      environment_(environment),
      console_(options.json),
      motionTeller_(options.motion.log
              ? std::make_shared<MotionTeller>(console_, environment.platform().clock, options.motion.log)
              : nullptr),
      responseQueue_(environment.makeQueue("org.tamsel.capture.response")),
      pictureQueue_(environment.makeQueue("org.tamsel.capture.pictures"))
{
}

void FramesCommand::reportError(const CameraError& error)
{
    console_.writeError(error.name(), error.reason());
    if (error.kind() == CameraError::Case::videoFrameError)
        ++frameErrors_; // there may be many: told together at the end
    else
        console_.fail(std::string(error.name()) + (error.reason() ? ": " + *error.reason() : ""));
}

void FramesCommand::sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame)
{
    const std::uint64_t index = delivered_.fetch_add(1);
    tellFrame(frame, index);
    keep(frame, index);
    if (options_.count && index + 1 >= *options_.count)
        requestEnd(manager);
}

void FramesCommand::tellFrame(const OvriCaptureFrameUpdate& frame, std::uint64_t index)
{
    const CVBuffer& buffer = *frame.imageBuffer();
    const FrameTiming timing = buffer.timing().value_or(FrameTiming{});
    const nanoseconds now = environment_.platform().clock.monotonic();
    {
        const std::lock_guard lock(stateGuard_);
        width_ = buffer.width();
        height_ = buffer.height();
        if (!firstFrame_)
            firstFrame_ = now;
        lastFrame_ = now;
        delay_ = now - timing.captureTime;
    }
    if (!options_.json)
        return;
    JsonLine line("frame");
    line.integer("index", index).integer("width", buffer.width()).integer("height", buffer.height());
    line.integer("exifOrientation", static_cast<std::uint64_t>(frame.exifOrientation()));
    if (const auto& transform = frame.preferredTransform()) {
        const std::array<double, 6> numbers{
            transform->a, transform->b, transform->c, transform->d, transform->tx, transform->ty};
        line.numbers("preferredTransform", numbers);
    } else {
        line.null("preferredTransform");
    }
    console_.write(
        line.number("mediaTime", timing.mediaTime.seconds()).integer("sequence", timing.sequence).string());
}

void FramesCommand::keep(const OvriCaptureFrameUpdate& frame, std::uint64_t index)
{
    const bool isSaved = options_.saveEvery && index % *options_.saveEvery == 0;
    const bool isShown = options_.contactSheet && sheet_.wantsNext();
    if (!isSaved && !isShown)
        return;
    ++picturesUnderWay_;
    pictureQueue_->async([self = shared_from_this(), buffer = frame.imageBuffer(), index, isSaved, isShown] {
        if (isShown)
            self->sheet_.add(*buffer);
        if (isSaved) {
            std::array<char, 40> name{};
            std::snprintf(
                name.data(), name.size(), "frame-%06llu.png", static_cast<unsigned long long>(index));
            const auto file = std::filesystem::path(self->options_.outputFolder) / name.data();
            if (const auto written = writePng(makePicture(*buffer, buffer->width()), file.string()); !written)
                self->console_.fail(written.error());
        }
        --self->picturesUnderWay_;
    });
}

void FramesCommand::sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error)
{
    if (const auto* motionError = std::get_if<MotionHelperError>(&error))
        console_.fail(*motionError);
    const auto* cameraError = std::get_if<CameraError>(&error);
    if (!cameraError)
        return;
    reportError(*cameraError);
    const bool isLost = manager.frameCounts().droppedBy[static_cast<std::size_t>(DropCause::deviceLost)] > 0;
    if (cameraError->kind() != CameraError::Case::videoFrameError || isLost) {
        if (isLost)
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

/// Under the state guard; zero before the second frame.
double FramesCommand::framesPerSecond(std::uint64_t frames) const
{
    const double duration = firstFrame_ ? seconds(lastFrame_ - *firstFrame_) : 0;
    return duration > 0 ? static_cast<double>(frames - 1) / duration : 0;
}

void FramesCommand::showStatus()
{
    const FrameCounts counts = manager_->frameCounts();
    const std::uint64_t frames = delivered_;
    const std::lock_guard lock(stateGuard_);
    std::fprintf(stderr, "\r%llu frames  %.1f/s  %llu dropped  delay %.1f ms   ",
        static_cast<unsigned long long>(frames), framesPerSecond(frames),
        static_cast<unsigned long long>(counts.dropped()), seconds(delay_) * 1e3);
}

bool FramesCommand::finishPictures()
{
    if (!options_.contactSheet)
        return true;
    if (sheet_.isEmpty()) {
        console_.fail("no frame came, so there is no contact sheet");
        return false;
    }
    if (const auto written = writePng(sheet_.compose(), *options_.contactSheet); !written) {
        console_.fail(written.error());
        return false;
    }
    return true;
}

void FramesCommand::summarize()
{
    const FrameCounts counts = manager_->frameCounts();
    if (options_.json) {
        JsonLine dropped = JsonLine::nested();
        for (std::size_t cause = 0; cause < causes.size(); ++cause)
            dropped.integer(causes[cause].first, counts.droppedBy[cause]);
        console_.write(JsonLine("summary")
                .integer("produced", counts.produced)
                .integer("delivered", counts.delivered)
                .integer("dropped", counts.dropped())
                .object("droppedBy", dropped)
                .integer("gated", counts.gated)
                .integer("inFlight", counts.inFlight)
                .string());
        return;
    }
    const std::lock_guard lock(stateGuard_);
    const double rate = framesPerSecond(counts.delivered);
    const auto row = [](const char* name, std::uint64_t value) {
        std::printf("  %-12s %8llu\n", name, static_cast<unsigned long long>(value));
    };
    if (firstFrame_)
        std::printf("Camera session, %zu x %zu pixels", width_, height_);
    else
        std::printf("Camera session without a frame");
    if (rate > 0)
        std::printf(", %.1f frames per second", rate);
    std::printf("\n");
    row("produced", counts.produced);
    row("delivered", counts.delivered);
    row("dropped", counts.dropped());
    for (std::size_t cause = 0; cause < causes.size(); ++cause) {
        if (counts.droppedBy[cause] > 0)
            std::printf("    %llu: %s\n", static_cast<unsigned long long>(counts.droppedBy[cause]),
                causes[cause].second);
    }
    row("gated", counts.gated);
    row("in flight", counts.inFlight);
    std::fflush(stdout);
}

ExitStatus FramesCommand::run()
{
    Platform& platform = environment_.platform();
    const SourceType source
        = options_.useFrontCamera ? SourceType::cameraFront(false) : SourceType::cameraBack(false);
    if (options_.saveEvery) {
        std::error_code error;
        std::filesystem::create_directories(options_.outputFolder, error);
        if (error) {
            console_.fail("cannot make the folder " + options_.outputFolder + ": " + error.message());
            return ExitStatus::failed;
        }
    }
    manager_ = OvriSourceManager::create(
        {source, SourceType::stability()}, options_.preset, responseQueue_, platform);
    const auto view = std::make_shared<UIView>(CGSize{640, 480});
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view); !started) {
        reportError(started.error());
        manager_ = nullptr;
        return ExitStatus::failed;
    }
    if (motionTeller_)
        motionTeller_->start(*manager_, motionTeller_, options_.motion);

    bool isInterrupted = false;
    bool isOver = false;
    RunLoop& loop = platform.runLoops.current();
    if (options_.seconds) {
        const auto length
            = std::chrono::duration_cast<nanoseconds>(std::chrono::duration<double>(*options_.seconds));
        loop.scheduleTimer(length, false, [&](Timer&) { isOver = true; });
    }
    std::shared_ptr<Timer> status;
    if (!options_.json && isatty(STDERR_FILENO) != 0)
        status = loop.scheduleTimer(statusInterval, true, [this](Timer&) { showStatus(); });
    const auto onInterrupt = [&] { isInterrupted = true; };
    environment_.runUntil([&] { return shouldEnd_ || isOver || isInterrupted; }, onInterrupt);
    if (status) {
        status->invalidate();
        showStatus();
        std::fputc('\n', stderr);
    }

    manager_->stopAllSessions();
    const nanoseconds limit = platform.clock.monotonic() + drainLimit;
    const std::shared_ptr<Timer> tick = loop.scheduleTimer(5ms, true, [](Timer&) { });
    environment_.runUntil(
        [&] {
            const bool isDrained = manager_->frameCounts().inFlight == 0 && picturesUnderWay_ == 0;
            return isDrained || platform.clock.monotonic() > limit;
        },
        onInterrupt);
    tick->invalidate();

    const bool hasPictures = finishPictures();
    summarize();
    if (frameErrors_ > 0)
        console_.fail(std::to_string(frameErrors_.load())
            + (frameErrors_ == 1 ? " frame was dropped" : " frames were dropped"));
    const bool isComplete = !options_.count || delivered_ >= *options_.count;
    if (!isComplete && !isInterrupted)
        console_.fail("only " + std::to_string(delivered_.load()) + " of " + std::to_string(*options_.count)
            + " frames came");
    manager_ = nullptr;
    if (isInterrupted) {
        console_.fail("interrupted");
        return ExitStatus::interrupted;
    }
    return console_.hasFailed() || !hasPictures ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
