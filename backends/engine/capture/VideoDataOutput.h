#pragma once

#include <engine/capture/Output.h>

#include <tamsel/Mutex.h>

#include <atomic>
#include <memory>
#include <optional>

namespace tamsel::engine {

class FrameStream;

/// Delivers frames and drops to the delegate on its queue. At most one frame waits there; the next is dropped as late.
/// Thread-safe; frames come from one thread at a time.
class VideoDataOutput final : public Output<platform::AVCaptureVideoDataOutput>,
                              public std::enable_shared_from_this<VideoDataOutput> {
public:
    explicit VideoDataOutput(std::shared_ptr<CaptureHook> hook) : hook_(std::move(hook)) { }

    [[nodiscard]] const char* kind() const override { return "AVCaptureVideoDataOutput"; }
    void addTo(SessionOutputs& outputs) override { outputs.video = shared_from_this(); }
    void setAlwaysDiscardsLateVideoFrames(bool discards) override
    {
        hook_->setting("setAlwaysDiscardsLateVideoFrames", discards ? "yes" : "no");
        discardsLateFrames_ = discards;
    }
    /// Has no effect: all frames are BGRA.
    void setVideoSettings(std::uint32_t pixelFormat) override
    {
        hook_->setting("setVideoSettings",
            pixelFormat == platform::kCVPixelFormatType_32BGRA ? "BGRA" : "another format");
    }
    void setSampleBufferDelegate(
        std::weak_ptr<platform::AVCaptureVideoDataOutputSampleBufferDelegate> delegate,
        std::shared_ptr<platform::DispatchQueue> queue) override;

    /// The demand for a frame that arrives now.
    struct Demand {
        /// Of the connection; absent without one.
        std::optional<platform::AVCaptureVideoOrientation> orientation;
        /// The delegate's queue; absent without a receiver.
        std::shared_ptr<platform::DispatchQueue> queue;
        /// The previous frame still waits, and late frames are discarded.
        bool isLate = false;
    };
    [[nodiscard]] Demand demand() const;

    /// On the queue of the demand. The frame is gated if its stream is closed before that.
    void deliver(std::shared_ptr<platform::CMSampleBuffer> sampleBuffer, std::shared_ptr<FrameStream> stream,
        platform::DispatchQueue& queue);
    /// Without a delegate the frame is gated; but a lost device is reported to the first delegate that is set.
    void reportDrop(platform::FrameTicket ticket, platform::DropCause cause);

private:
    struct Receiver {
        std::weak_ptr<platform::AVCaptureVideoDataOutputSampleBufferDelegate> delegate;
        std::shared_ptr<platform::DispatchQueue> queue;
    };

    [[nodiscard]] Receiver receiver() const;
    void postDrop(const Receiver& receiver, platform::FrameTicket ticket, platform::DropCause cause);

    const std::shared_ptr<CaptureHook> hook_;
    std::atomic<bool> discardsLateFrames_ = true;
    std::atomic<bool> isWaiting_ = false;
    mutable Mutex guard_;
    Receiver receiver_ TAMSEL_GUARDED_BY(guard_);
    std::optional<platform::FrameTicket> unreportedLoss_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
