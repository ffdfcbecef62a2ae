#include <engine/capture/PhotoOutput.h>

#include <engine/capture/Photo.h>
#include <engine/capture/turnPixels.h>

#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::engine {

using namespace platform;
using namespace std::chrono_literals;
using std::chrono::nanoseconds;

namespace {

/// From the request to its frame.
constexpr nanoseconds frameLimit = 3s;
/// From the request to the expected end: a still that would end later is not begun.
constexpr nanoseconds finishLimit = 4500ms;
/// The number of copies at a time; further stills wait for a frame.
constexpr int framesAtOnce = 2;

std::shared_ptr<const CVPixelBuffer> copyOf(const CVPixelBuffer& pixels)
{
    auto copy = std::make_shared<CVPixelBuffer>(pixels.width(), pixels.height());
    std::memcpy(copy->baseAddress(), pixels.baseAddress(), pixels.height() * pixels.bytesPerRow());
    return copy;
}

/// Without the flash mode.
std::string describe(const AVCapturePhotoSettings& settings)
{
    using Prioritization = AVCapturePhotoQualityPrioritization;
    std::string text = "jpeg";
    if (settings.isHighResolutionPhotoEnabled)
        text += " highResolution";
    if (settings.isAutoStillImageStabilizationEnabled)
        text += " stabilized";
    if (settings.photoQualityPrioritization == Prioritization::speed)
        return text + " speed";
    return text
        + (settings.photoQualityPrioritization == Prioritization::balanced ? " balanced" : " quality");
}

std::string_view name(AVCaptureFlashMode mode)
{
    switch (mode) {
    case AVCaptureFlashMode::off:
        return "flash off";
    case AVCaptureFlashMode::on:
        return "flash on";
    case AVCaptureFlashMode::automatic:
        return "flash automatic";
    }
    return {};
}

} // namespace

struct PhotoOutput::Still {
    AVCapturePhotoSettings settings;
    std::weak_ptr<AVCapturePhotoCaptureDelegate> delegate;
    std::shared_ptr<Connection> connection; ///< absent when the output was not in a session with a camera
    AVCaptureVideoOrientation orientation;
    nanoseconds requestedAt;
    bool isSilent = false; ///< known after `begin`

    [[nodiscard]] AVCaptureResolvedPhotoSettings resolved() const { return {settings.uniqueID()}; }
};

struct PhotoOutput::Frame {
    std::shared_ptr<const CVPixelBuffer> pixels;
    AVCaptureVideoOrientation sensorOrientation;
    nanoseconds captureTime;
};

PhotoOutput::PhotoOutput(Dispatch& dispatch, PhotoServices services, std::shared_ptr<CaptureHook> hook)
    : services_(std::move(services)),
      hook_(std::move(hook)),
      queue_(dispatch.makeSerialQueue("org.tamsel.engine.photo"))
{
}

std::vector<AVCaptureFlashMode> PhotoOutput::supportedFlashModes() const
{
    const std::shared_ptr<Connection> connection = videoConnection();
    const std::shared_ptr<CameraDevice> camera = connection ? connection->camera() : nullptr;
    return camera ? camera->description().flashModes : std::vector<AVCaptureFlashMode>{};
}

void PhotoOutput::capturePhoto(
    const AVCapturePhotoSettings& settings, std::weak_ptr<AVCapturePhotoCaptureDelegate> delegate)
{
    hook_->setting("photoSettings", describe(settings));
    const bool isPermitted = hook_->permits(CaptureCall::capturePhoto, name(settings.flashMode));
    const std::shared_ptr<Connection> connection = videoConnection();
    const auto still = std::make_shared<Still>(Still{
        .settings = settings,
        .delegate = std::move(delegate),
        .connection = connection,
        .orientation = connection ? connection->videoOrientation() : AVCaptureVideoOrientation::portrait,
        .requestedAt = services_.clock.monotonic(),
    });
    if (!isPermitted) {
        fail(still, "the camera refused the still");
        return;
    }
    std::call_once(timerIsMade_, [this] {
        timer_ = services_.events.makeTimer(
            whileAlive(weak_from_this(), [](PhotoOutput& self) { self.expire(); }));
    });
    if (!timer_) {
        fail(still, "the system has no timer left");
        return;
    }
    // Posted before it can get a frame, so that the delegate's calls are in order.
    queue_->async([self = shared_from_this(), still] { self->begin(*still); });
    {
        const MutexLock lock(guard_);
        waiting_.push_back(still);
        isWaiting_ = true;
    }
    armTimer();
}

/// For the still that has waited longest. Two calls at once may leave it armed for a still that has ended: it then
/// fires early, and is armed again.
void PhotoOutput::armTimer()
{
    std::optional<nanoseconds> requestedAt;
    {
        const MutexLock lock(guard_);
        if (!waiting_.empty())
            requestedAt = waiting_.front()->requestedAt;
    }
    if (requestedAt)
        timer_->armAt(*requestedAt + frameLimit);
}

void PhotoOutput::begin(Still& still)
{
    const std::shared_ptr<AVCapturePhotoCaptureDelegate> delegate = still.delegate.lock();
    if (!delegate)
        return;
    delegate->captureOutputWillBeginCapture(still.resolved());
    still.isSilent = services_.sounds.disposesShutter(
        *queue_, [&] { delegate->captureOutputWillCapturePhoto(still.resolved()); });
}

void PhotoOutput::take(const CapturedFrame& frame, AVCaptureVideoOrientation sensorOrientation)
{
    std::shared_ptr<Still> still;
    {
        const MutexLock lock(guard_);
        if (waiting_.empty() || framesHeld_ >= framesAtOnce)
            return;
        still = std::move(waiting_.front());
        waiting_.pop_front();
        isWaiting_ = !waiting_.empty();
        ++framesHeld_;
    }
    queue_->async([self = shared_from_this(), still = std::move(still),
                      copy = std::make_unique<Frame>(
                          copyOf(*frame.buffer), sensorOrientation, frame.captureTime)]() mutable {
        self->finish(*still, *copy);
        copy.reset();
        const MutexLock lock(self->guard_);
        --self->framesHeld_;
    });
}

void PhotoOutput::finish(const Still& still, const Frame& frame)
{
    const std::shared_ptr<AVCapturePhotoCaptureDelegate> delegate = still.delegate.lock();
    if (!delegate)
        return;
    const Clock& clock = services_.clock;
    const nanoseconds begun = clock.monotonic();
    if (begun - still.requestedAt + lastDuration_ > finishLimit) {
        lastDuration_ /= 2; // so that one slow still does not block all later ones
        delegate->captureOutputDidFinishCapture(
            still.resolved(), Error{.localizedDescription = "too many stills were requested at once"});
        return;
    }
    makePhoto(still, frame, *delegate);
    lastDuration_ = clock.monotonic() - begun;
    delegate->captureOutputDidFinishCapture(still.resolved(), std::nullopt);
}

void PhotoOutput::makePhoto(const Still& still, const Frame& frame, AVCapturePhotoCaptureDelegate& delegate)
{
    if (!still.isSilent)
        services_.sounds.playShutter();
    delegate.captureOutputDidCapturePhoto(still.resolved());

    const nanoseconds age = services_.clock.monotonic() - frame.captureTime;
    const double takenAt
        = services_.clock.timeIntervalSince1970() - std::chrono::duration<double>(age).count();
    const std::shared_ptr<CameraDevice> camera = still.connection ? still.connection->camera() : nullptr;
    const Photo photo(frame.pixels,
        photoMetadata({
            .takenAt = takenAt,
            .secondsFromUTC = services_.secondsFromUTC(takenAt),
            .quarterTurns = quarterTurns(frame.sensorOrientation, still.orientation),
            .width = frame.pixels->width(),
            .height = frame.pixels->height(),
            .hasFlash = camera && camera->isFlashAvailable(),
            .flashMode = still.settings.flashMode,
            .model = services_.device.model(),
            .systemVersion = services_.device.systemVersion(),
        }),
        services_.encoder);
    std::optional<Error> error;
    if (!hook_->permits(CaptureCall::processPhoto, {}))
        error = Error{.localizedDescription = "the still cannot be processed"};
    delegate.captureOutputDidFinishProcessingPhoto(photo, error);
}

void PhotoOutput::fail(std::shared_ptr<Still> still, const char* reason)
{
    queue_->async([still = std::move(still), reason] {
        if (const std::shared_ptr<AVCapturePhotoCaptureDelegate> delegate = still->delegate.lock())
            delegate->captureOutputDidFinishCapture(still->resolved(), Error{.localizedDescription = reason});
    });
}

void PhotoOutput::streamEnded()
{
    std::deque<std::shared_ptr<Still>> abandoned;
    {
        const MutexLock lock(guard_);
        abandoned.swap(waiting_);
        isWaiting_ = false;
    }
    for (std::shared_ptr<Still>& still : abandoned)
        fail(std::move(still), "the session stopped before the still was taken");
}

void PhotoOutput::expire()
{
    const nanoseconds now = services_.clock.monotonic();
    std::vector<std::shared_ptr<Still>> expired;
    {
        const MutexLock lock(guard_);
        while (!waiting_.empty() && waiting_.front()->requestedAt + frameLimit <= now) {
            expired.push_back(std::move(waiting_.front()));
            waiting_.pop_front();
        }
        isWaiting_ = !waiting_.empty();
    }
    armTimer();
    for (std::shared_ptr<Still>& still : expired)
        fail(std::move(still), "no frame arrived in time");
}

} // namespace tamsel::engine
