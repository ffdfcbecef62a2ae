#pragma once

#include <engine/capture/Output.h>
#include <engine/capture/PhotoServices.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/AVCapturePhotoOutput.h>
#include <tamsel/platform/CVPixelBuffer.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <mutex>

namespace tamsel::engine {

/// Takes stills from the session's frames: each is a copy of the first frame after the request, in sensor orientation,
/// with the orientation as a tag. Every still ends with a call of its delegate, at most 5 s after the request: one that
/// waits for a frame fails when its session stops or loses the device, at the latest after 3 s; one that would take too
/// long, judged by the one before, is not begun. Stills are encoded on a queue of the output. Thread-safe.
class PhotoOutput final : public Output<platform::AVCapturePhotoOutput>,
                          public std::enable_shared_from_this<PhotoOutput> {
public:
    PhotoOutput(platform::Dispatch& dispatch, PhotoServices services, std::shared_ptr<CaptureHook> hook);

    [[nodiscard]] const char* kind() const override { return "AVCapturePhotoOutput"; }
    void addTo(SessionOutputs& outputs) override { outputs.photo = shared_from_this(); }
    /// Has no effect: frames have the full resolution already.
    void setHighResolutionCaptureEnabled(bool enabled) override
    {
        hook_->setting("setHighResolutionCaptureEnabled", enabled ? "yes" : "no");
    }
    [[nodiscard]] std::vector<platform::AVCaptureFlashMode> supportedFlashModes() const override;
    void capturePhoto(const platform::AVCapturePhotoSettings& settings,
        std::weak_ptr<platform::AVCapturePhotoCaptureDelegate> delegate) override;

    [[nodiscard]] bool isWaiting() const { return isWaiting_.load(std::memory_order_relaxed); }
    /// A frame in sensor orientation, before it is delivered; on the driver's thread. It is copied for a waiting still,
    /// because a client may draw into its frames.
    void offer(const CapturedFrame& frame, platform::AVCaptureVideoOrientation sensorOrientation)
    {
        if (isWaiting())
            take(frame, sensorOrientation);
    }
    /// The stream has no more frames.
    void streamEnded();

private:
    struct Still;
    struct Frame;

    void take(const CapturedFrame& frame, platform::AVCaptureVideoOrientation sensorOrientation);
    void begin(Still& still);
    void finish(const Still& still, const Frame& frame);
    void makePhoto(const Still& still, const Frame& frame, platform::AVCapturePhotoCaptureDelegate& delegate);
    void fail(std::shared_ptr<Still> still, const char* reason);
    void armTimer();
    void expire();

    const PhotoServices services_;
    const std::shared_ptr<CaptureHook> hook_;
    const std::shared_ptr<platform::DispatchQueue> queue_;
    std::atomic<bool> isWaiting_ = false;
    std::chrono::nanoseconds lastDuration_{}; ///< of encoding a still; on the queue only

    std::once_flag timerIsMade_;
    std::unique_ptr<EventSource> timer_; ///< with the first still

    Mutex guard_;
    /// Waiting for a frame, in the order of the requests.
    std::deque<std::shared_ptr<Still>> waiting_ TAMSEL_GUARDED_BY(guard_);
    int framesHeld_ TAMSEL_GUARDED_BY(guard_) = 0; ///< copies for unfinished stills
};

} // namespace tamsel::engine
