#include "StillCommand.h"

#include "Sample.h"
#include "StatusLine.h"

#include <tamsel/camera/videoOrientation.h>
#include <tamsel/platform/CLLocationManager.h>
#include <tamsel/platform/RunLoop.h>

#include <string>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

constexpr nanoseconds cameraLimit = 15s;
constexpr nanoseconds locationLimit = 10s;
constexpr nanoseconds stillLimit = 10s;

} // namespace

StillCommand::StillCommand(const Options& options, Environment& environment)
    : options_(options),
      environment_(environment),
      console_(options.json)
{
}

void StillCommand::wake()
{
    environment_.platform().dispatch.mainQueue()->async([] { });
}

void StillCommand::sourceManagerDidGetFrame(
    OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& /*frame*/)
{
    if (!hasFrame_.exchange(true))
        wake();
}

void StillCommand::sourceManagerDidGetSample(
    OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& sample)
{
    keepSample(console_, *sample, options_.outputFile);
    hasEnded_ = true;
    wake();
}

void StillCommand::sourceManagerDidGetSourceError(OvriSourceManager& /*manager*/, const SourceError& error)
{
    const auto* cameraError = std::get_if<CameraError>(&error);
    if (!cameraError || cameraError->kind() == CameraError::Case::videoFrameError)
        return; // a frame less does not matter here
    console_.fail(*cameraError);
    hasEnded_ = true;
    wake();
}

bool StillCommand::waitFor(nanoseconds limit, const std::function<bool()>& condition)
{
    const Clock& clock = environment_.platform().clock;
    const nanoseconds end = clock.monotonic() + limit;
    const std::shared_ptr<Timer> tick
        = environment_.platform().runLoops.current().scheduleTimer(20ms, true, [](Timer&) { });
    environment_.runUntil([&] { return condition() || isInterrupted_ || clock.monotonic() > end; },
        [this] { isInterrupted_ = true; });
    tick->invalidate();
    return condition();
}

/// A screen turns its preview with its interface; a still is taken the way up of the preview.
void StillCommand::turnPreview() const
{
    for (const std::shared_ptr<CALayer>& layer : view_->layer()->sublayers()) {
        const auto preview = std::dynamic_pointer_cast<AVCaptureVideoPreviewLayer>(layer);
        if (const auto connection = preview ? preview->connection() : nullptr)
            connection->setVideoOrientation(videoOrientation(options_.interfaceOrientation));
    }
}

void StillCommand::waitForLocation()
{
    if (!options_.location)
        return;
    const auto isKnown
        = [this] { return environment_.platform().location.makeLocationManager()->location().has_value(); };
    (void)waitFor(locationLimit, [&] { return isKnown() || !environment_.isLocationAwaited(); });
    if (!isKnown() && !isInterrupted_)
        console_.note("no location: " + environment_.locationProblem());
}

void StillCommand::tellWhatIsMissing()
{
    const AVCaptureDevicePosition position
        = options_.useFrontCamera ? AVCaptureDevicePosition::front : AVCaptureDevicePosition::back;
    const std::shared_ptr<AVCaptureDevice> camera = environment_.platform().capture.defaultDevice(
        AVCaptureDeviceType::builtInWideAngleCamera, AVMediaType::video, position);
    if (!camera)
        return;
    if (options_.still.flash.value_or(AVCaptureFlashMode::off) != AVCaptureFlashMode::off
        && !camera->isFlashAvailable())
        console_.note("the camera has no flash");
    if (options_.still.torch.value_or(AVCaptureTorchMode::off) != AVCaptureTorchMode::off
        && !camera->hasTorch())
        console_.note("the camera has no torch");
}

void StillCommand::takeStill()
{
    const auto hasEnded = [this] { return hasEnded_.load(); };
    if (!waitFor(cameraLimit, [this] { return hasFrame_ || hasEnded_; })) {
        if (!isInterrupted_)
            console_.fail("the camera delivers no frame");
        return;
    }
    if (hasEnded_)
        return;
    turnPreview();
    waitForLocation();
    if (isInterrupted_)
        return;
    tellWhatIsMissing();
    TamselCameraSettings settings;
    settings.cameraFlashMode = options_.still.flash.value_or(settings.cameraFlashMode);
    settings.cameraTorchMode = options_.still.torch.value_or(settings.cameraTorchMode);
    if (options_.still.isSilent)
        settings.cameraCaptureSound = TamselCameraSettings::Silent{};
    manager_->captureStillImage(OvriImageSource::photo, settings);
    if (!waitFor(stillLimit, hasEnded) && !isInterrupted_)
        console_.fail("the still did not come");
}

ExitStatus StillCommand::run()
{
    const SourceType source
        = options_.useFrontCamera ? SourceType::cameraFront(false) : SourceType::cameraBack(false);
    manager_ = OvriSourceManager::create({source}, options_.preset,
        environment_.makeQueue("org.tamsel.capture.response"), environment_.platform());
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view_); !started) {
        console_.fail(started.error());
    } else {
        takeStill();
        manager_->stopAllSessions();
    }
    manager_ = nullptr;
    if (isInterrupted_) {
        console_.fail("interrupted");
        return ExitStatus::interrupted;
    }
    return console_.hasFailed() ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
