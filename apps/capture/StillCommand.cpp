#include "StillCommand.h"

#include "Sample.h"
#include "StatusLine.h"

#include <tamsel/camera/videoOrientation.h>
#include <tamsel/platform/CLLocationManager.h>

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
      console_(options.json),
      waiter_(environment)
{
}

void StillCommand::sourceManagerDidGetFrame(
    OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& /*frame*/)
{
    if (!hasFrame_.exchange(true))
        waiter_.wake();
}

void StillCommand::sourceManagerDidGetSample(
    OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& sample)
{
    keepSample(console_, *sample, options_.outputFile);
    hasEnded_ = true;
    waiter_.wake();
}

void StillCommand::sourceManagerDidGetSourceError(OvriSourceManager& /*manager*/, const SourceError& error)
{
    const auto* cameraError = std::get_if<CameraError>(&error);
    if (!cameraError || cameraError->kind() == CameraError::Case::videoFrameError)
        return; // a frame less does not matter here
    console_.fail(*cameraError);
    hasEnded_ = true;
    waiter_.wake();
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
    (void)waiter_.waitFor(locationLimit, [&] { return isKnown() || !environment_.isLocationAwaited(); });
    if (!isKnown() && !waiter_.isInterrupted())
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
    if (!waiter_.waitFor(cameraLimit, [this] { return hasFrame_ || hasEnded_; })) {
        if (!waiter_.isInterrupted())
            console_.fail("the camera delivers no frame");
        return;
    }
    if (hasEnded_)
        return;
    turnPreview();
    waitForLocation();
    if (waiter_.isInterrupted())
        return;
    tellWhatIsMissing();
    TamselCameraSettings settings;
    settings.cameraFlashMode = options_.still.flash.value_or(settings.cameraFlashMode);
    settings.cameraTorchMode = options_.still.torch.value_or(settings.cameraTorchMode);
    if (options_.still.isSilent)
        settings.cameraCaptureSound = TamselCameraSettings::Silent{};
    manager_->captureStillImage(OvriImageSource::photo, settings);
    if (!waiter_.waitFor(stillLimit, hasEnded) && !waiter_.isInterrupted())
        console_.fail("the still did not come");
}

ExitStatus StillCommand::run()
{
    const SourceType source
        = options_.useFrontCamera ? SourceType::cameraFront(false) : SourceType::cameraBack(false);
    manager_ = OvriSourceManager::create({source}, options_.sessionPreset(),
        environment_.makeQueue("org.tamsel.capture.response"), environment_.platform());
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view_); !started) {
        console_.fail(started.error());
    } else {
        takeStill();
        manager_->stopAllSessions();
    }
    manager_ = nullptr;
    if (waiter_.isInterrupted()) {
        console_.fail("interrupted");
        return ExitStatus::interrupted;
    }
    return console_.hasFailed() ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
