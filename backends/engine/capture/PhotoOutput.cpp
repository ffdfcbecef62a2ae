#include <engine/capture/PhotoOutput.h>

#include <engine/capture/CaptureContext.h>
#include <engine/capture/Photo.h>
#include <engine/capture/turnPixels.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::engine {

using namespace platform;
using namespace std::chrono_literals;
using std::chrono::nanoseconds;

namespace {

/// From the asking, for a frame to come.
constexpr nanoseconds frameLimit = 3s;
/// From the asking, for a taken frame to have its turn: what would end too late is not begun.
constexpr nanoseconds turnLimit = 4s;
/// Stills that hold a frame at the same time; the rest of the pool is left to the live frames.
constexpr int framesAtOnce = 2;

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
    std::shared_ptr<Connection> connection; ///< absent when the output was in no session with a camera
    AVCaptureVideoOrientation orientation;
    nanoseconds askedAt;
    bool isSilent = false; ///< known after `begin`

    [[nodiscard]] AVCaptureResolvedPhotoSettings resolved() const { return {settings.uniqueID()}; }
};

struct PhotoOutput::Frame {
    std::shared_ptr<const CVPixelBuffer> pixels;
    AVCaptureVideoOrientation sensorOrientation;
    nanoseconds captureTime;
};

PhotoOutput::PhotoOutput(std::shared_ptr<CaptureContext> context)
    : context_(std::move(context)),
      queue_(context_->configuration.dispatch.makeSerialQueue("org.tamsel.engine.photo"))
{
}

std::vector<AVCaptureFlashMode> PhotoOutput::supportedFlashModes() const
{
    const std::shared_ptr<Connection> connection = videoConnection();
    return connection ? connection->camera().description().flashModes : std::vector<AVCaptureFlashMode>{};
}

void PhotoOutput::capturePhoto(
    const AVCapturePhotoSettings& settings, std::weak_ptr<AVCapturePhotoCaptureDelegate> delegate)
{
    const std::shared_ptr<Connection> connection = videoConnection();
    const auto still = std::make_shared<Still>(Still{
        .settings = settings,
        .delegate = std::move(delegate),
        .connection = connection,
        .orientation = connection ? connection->videoOrientation() : AVCaptureVideoOrientation::portrait,
        .askedAt = context_->configuration.clock.monotonic(),
    });
    if (!context_->hook().permits(CaptureCall::capturePhoto, name(settings.flashMode))) {
        fail(still, "the camera takes no still");
        return;
    }
    // Posted before it can be given a frame, so that its calls come in their order.
    queue_->async([self = shared_from_this(), still] { self->begin(*still); });
    {
        const std::lock_guard lock(guard_);
        waiting_.push_back(still);
        isWaiting_ = true;
    }
    std::call_once(timerIsMade_, [this] {
        timer_ = context_->configuration.events.makeTimer(
            whileAlive(weak_from_this(), [](PhotoOutput& self) { self.expire(); }));
    });
    armTimer();
}

/// For the still that has waited longest. Of two calls at once the later one may arm for one that waits no more: the timer
/// then fires early, and is armed anew.
void PhotoOutput::armTimer()
{
    std::optional<nanoseconds> askedAt;
    {
        const std::lock_guard lock(guard_);
        if (!waiting_.empty())
            askedAt = waiting_.front()->askedAt;
    }
    if (askedAt)
        timer_->armAt(*askedAt + frameLimit);
}

void PhotoOutput::begin(Still& still)
{
    const std::shared_ptr<AVCapturePhotoCaptureDelegate> delegate = still.delegate.lock();
    if (!delegate)
        return;
    delegate->captureOutputWillBeginCapture(still.resolved());
    const SystemSounds& sounds = context_->configuration.sounds;
    const std::uint64_t disposals = sounds.shutterDisposals();
    delegate->captureOutputWillCapturePhoto(still.resolved());
    still.isSilent = sounds.shutterDisposals() != disposals;
}

void PhotoOutput::take(const std::shared_ptr<CVPixelBuffer>& pixels,
    AVCaptureVideoOrientation sensorOrientation, nanoseconds captureTime)
{
    std::shared_ptr<Still> still;
    {
        const std::lock_guard lock(guard_);
        if (waiting_.empty() || framesHeld_ >= framesAtOnce)
            return;
        still = std::move(waiting_.front());
        waiting_.pop_front();
        isWaiting_ = !waiting_.empty();
        ++framesHeld_;
    }
    queue_->async([self = shared_from_this(), still = std::move(still),
                      frame = std::make_unique<Frame>(pixels, sensorOrientation, captureTime)]() mutable {
        self->finish(*still, *frame);
        frame.reset();
        const std::lock_guard lock(self->guard_);
        --self->framesHeld_;
    });
}

void PhotoOutput::finish(const Still& still, const Frame& frame)
{
    const std::shared_ptr<AVCapturePhotoCaptureDelegate> delegate = still.delegate.lock();
    if (!delegate)
        return;
    const CaptureConfiguration& configuration = context_->configuration;
    if (configuration.clock.monotonic() - still.askedAt > turnLimit) {
        delegate->captureOutputDidFinishCapture(
            still.resolved(), Error{.localizedDescription = "too many stills were asked for at once"});
        return;
    }
    if (!still.isSilent)
        configuration.sounds.playShutter();
    delegate->captureOutputDidCapturePhoto(still.resolved());

    const nanoseconds age = configuration.clock.monotonic() - frame.captureTime;
    const double takenAt
        = configuration.clock.timeIntervalSince1970() - std::chrono::duration<double>(age).count();
    const bool hasFlash = still.connection && still.connection->camera().isFlashAvailable();
    const Photo photo(frame.pixels,
        photoMetadata({
            .takenAt = takenAt,
            .secondsFromUTC = configuration.secondsFromUTC(takenAt),
            .quarterTurns = quarterTurns(frame.sensorOrientation, still.orientation),
            .width = frame.pixels->width(),
            .height = frame.pixels->height(),
            .hasFlash = hasFlash,
            .flashMode = still.settings.flashMode,
            .model = configuration.device.model(),
            .systemVersion = configuration.device.systemVersion(),
        }),
        configuration.photoEncoder);
    std::optional<Error> error;
    if (!context_->hook().permits(CaptureCall::processPhoto, {}))
        error = Error{.localizedDescription = "the still cannot be processed"};
    delegate->captureOutputDidFinishProcessingPhoto(photo, error);
    delegate->captureOutputDidFinishCapture(still.resolved(), std::nullopt);
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
        const std::lock_guard lock(guard_);
        abandoned.swap(waiting_);
        isWaiting_ = false;
    }
    for (std::shared_ptr<Still>& still : abandoned)
        fail(std::move(still), "the session stopped before the still was taken");
}

void PhotoOutput::expire()
{
    const nanoseconds now = context_->configuration.clock.monotonic();
    std::vector<std::shared_ptr<Still>> expired;
    {
        const std::lock_guard lock(guard_);
        while (!waiting_.empty() && waiting_.front()->askedAt + frameLimit <= now) {
            expired.push_back(std::move(waiting_.front()));
            waiting_.pop_front();
        }
        isWaiting_ = !waiting_.empty();
    }
    armTimer();
    for (std::shared_ptr<Still>& still : expired)
        fail(std::move(still), "no frame came");
}

} // namespace tamsel::engine
