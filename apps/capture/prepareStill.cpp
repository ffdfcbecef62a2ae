#include "prepareStill.h"

#include <tamsel/camera/videoOrientation.h>
#include <tamsel/platform/AVCaptureVideoPreviewLayer.h>
#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/LocationServices.h>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;

namespace {

constexpr std::chrono::nanoseconds locationLimit = 10s;

} // namespace

void turnPreview(const UIView& view, UIInterfaceOrientation orientation)
{
    for (const std::shared_ptr<CALayer>& layer : view.layer()->sublayers()) {
        const auto preview = std::dynamic_pointer_cast<AVCaptureVideoPreviewLayer>(layer);
        if (const auto connection = preview ? preview->connection() : nullptr)
            connection->setVideoOrientation(videoOrientation(orientation));
    }
}

void waitForLocation(const StillOptions& options, Environment& environment, Waiter& waiter, Console& console)
{
    if (!options.location)
        return;
    const auto isKnown
        = [&] { return environment.platform().location.makeLocationManager()->location().has_value(); };
    (void)waiter.waitFor(locationLimit, [&] { return isKnown() || !environment.isLocationAwaited(); });
    if (!isKnown() && !waiter.isInterrupted())
        console.note("no location: " + environment.locationProblem());
}

void reportWhatIsMissing(const StillOptions& options, Environment& environment, Console& console)
{
    const AVCaptureDevicePosition position
        = options.usesFrontCamera ? AVCaptureDevicePosition::front : AVCaptureDevicePosition::back;
    const std::shared_ptr<AVCaptureDevice> camera = environment.platform().capture.defaultDevice(
        AVCaptureDeviceType::builtInWideAngleCamera, AVMediaType::video, position);
    if (!camera)
        return;
    if (options.flash.value_or(AVCaptureFlashMode::off) != AVCaptureFlashMode::off
        && !camera->isFlashAvailable())
        console.note("the camera has no flash");
    if (options.torch.value_or(AVCaptureTorchMode::off) != AVCaptureTorchMode::off && !camera->hasTorch())
        console.note("the camera has no torch");
}

TamselCameraSettings settingsFor(const StillOptions& options)
{
    TamselCameraSettings settings;
    settings.cameraFlashMode = options.flash.value_or(settings.cameraFlashMode);
    settings.cameraTorchMode = options.torch.value_or(settings.cameraTorchMode);
    if (options.isSilent)
        settings.cameraCaptureSound = TamselCameraSettings::Silent{};
    return settings;
}

} // namespace tamsel::capture
