#include <tamsel/client/LiveCamera.h>

#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/RunLoop.h>

#include <algorithm>
#include <utility>

namespace tamsel {

using namespace platform;

LiveCamera::LiveCamera(std::shared_ptr<OvriSourceManager> manager,
    const std::shared_ptr<OvriSourceToSession>& delegate, std::shared_ptr<DispatchQueue> responseQueue,
    Platform& platform, std::function<void()> pictureChanged)
    : manager_(std::move(manager)),
      responseQueue_(std::move(responseQueue)),
      platform_(platform),
      preview_(Preview::create(view_, platform, responseQueue_, std::move(pictureChanged))),
      self_(makeDelegate({
          .didGetFrame =
              [this](auto& sender, auto&) {
                  if (state_ != State::running && !isStopping_ && sender.frameCounts().delivered > 0)
                      state_ = State::running; // and it is no late frame of the camera before
              },
          .didGetSourceError = [this](auto&, const auto& error) { take(error); },
          .cameraDidSuspend = [this](auto&) { isSuspended_ = true; },
          .cameraDidResume = [this](auto&) { resume(); },
      })),
      delegates_(std::make_shared<ForwardingDelegate>(self_, delegate))
{
}

void LiveCamera::start(const SourceType& camera, Configurations configurations)
{
    if (isTorchOn_)
        (void)toggleTorch();
    camera_ = camera;
    configurations_ = std::move(configurations);
    state_ = State::starting;
    isSuspended_ = false; // a new camera may miss the return to the foreground
    if (isStopping_)
        return; // it is opened when the camera before has stopped
    const bool wasActive = manager_->isCameraActive();
    manager_->stopCameraSession();
    isStopping_ = wasActive && !manager_->isCameraActive();
    if (isStopping_)
        manager_->whenCameraStopped(whileAlive(std::weak_ptr(self_), [this](CallbackDelegate&) { open(); }));
    else
        open(); // none runs: it is absent, starting, lost, paused or in the background
}

bool LiveCamera::switchSide()
{
    const auto* back = std::get_if<SourceType::CameraBack>(&camera_.value());
    const SourceType other = back
        ? SourceType::cameraFront(back->videoRecordingEnabled)
        : SourceType::cameraBack(std::get<SourceType::CameraFront>(camera_.value()).videoRecordingEnabled);
    if (!manager_->isSourceAvailable(other))
        return false;
    start(other, configurations_);
    return true;
}

void LiveCamera::open()
{
    isStopping_ = false;
    if (manager_->startSession(camera_, delegates_, configurations_, view_))
        return;
    state_ = State::refused;
    planRetry();
}

void LiveCamera::take(const SourceError& error)
{
    const auto* problem = std::get_if<CameraError>(&error);
    if (!problem || problem->kind() == CameraError::Case::captureImageFailed)
        return;
    if (problem->kind() == CameraError::Case::videoFrameError && !manager_->frameCounts().isDeviceLost())
        return; // one frame was dropped
    state_ = State::missing;
    isTorchOn_ = false;
    planRetry();
}

void LiveCamera::planRetry()
{
    if (std::exchange(isRetryPlanned_, true))
        return;
    auto again = whileAlive(std::weak_ptr(self_), [this](CallbackDelegate&) { retry(); });
    platform_.dispatch.mainQueue()->async(
        [&loops = platform_.runLoops, queue = responseQueue_, again = std::move(again)] {
            loops.current().scheduleTimer(
                retryInterval, false, [queue, again](Timer& /*timer*/) { queue->async(again); });
        });
}

void LiveCamera::retry()
{
    isRetryPlanned_ = false;
    if (state() == State::refused && !OvriSourceManager::isCameraAuthorized(platform_))
        planRetry();
    else if (state() == State::missing || state() == State::refused)
        open();
}

void LiveCamera::resume()
{
    isSuspended_ = false;
    if (state_ == State::missing)
        open();
    else if (state_ == State::running)
        state_ = State::starting;
}

void LiveCamera::captureStill()
{
    TamselCameraSettings settings = platform_.tamsel.cameraSettings();
    settings.cameraTorchMode = isTorchOn_ ? AVCaptureTorchMode::on : AVCaptureTorchMode::off;
    manager_->captureStillImage(OvriImageSource::photo, settings);
}

bool LiveCamera::toggleTorch()
{
    const std::shared_ptr<AVCaptureDevice> camera = device();
    if (!camera || !camera->hasTorch() || !camera->lockForConfiguration())
        return false;
    isTorchOn_ = !isTorchOn_;
    camera->setTorchMode(isTorchOn_ ? AVCaptureTorchMode::on : AVCaptureTorchMode::off);
    camera->unlockForConfiguration();
    return true;
}

std::optional<double> LiveCamera::zoomBy(double factor)
{
    const std::shared_ptr<AVCaptureDevice> camera = device();
    if (!camera || !camera->lockForConfiguration())
        return std::nullopt;
    const double zoom = std::clamp(camera->videoZoomFactor() * factor, camera->minAvailableVideoZoomFactor(),
        camera->maxAvailableVideoZoomFactor());
    camera->setVideoZoomFactor(zoom);
    camera->unlockForConfiguration();
    return zoom;
}

std::shared_ptr<AVCaptureDevice> LiveCamera::device() const
{
    const bool isBack = std::holds_alternative<SourceType::CameraBack>(camera_.value());
    return platform_.capture.defaultDevice(AVCaptureDeviceType::builtInWideAngleCamera, AVMediaType::video,
        isBack ? AVCaptureDevicePosition::back : AVCaptureDevicePosition::front);
}

} // namespace tamsel
