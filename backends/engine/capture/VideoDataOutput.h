#pragma once

#include <engine/capture/Output.h>

#include <tamsel/Mutex.h>

#include <atomic>
#include <memory>
#include <optional>

namespace tamsel::engine {

class FrameStream;

/// Brings frames and drops to the delegate on its queue. At most one frame waits there; the next is dropped as late.
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
    /// All frames are BGRA, whatever is asked for.
    void setVideoSettings(std::uint32_t pixelFormat) override
    {
        hook_->setting("setVideoSettings",
            pixelFormat == platform::kCVPixelFormatType_32BGRA ? "BGRA" : "another format");
    }
    void setSampleBufferDelegate(
        std::weak_ptr<platform::AVCaptureVideoDataOutputSampleBufferDelegate> delegate,
        std::shared_ptr<platform::DispatchQueue> queue) override;

    [[nodiscard]] bool hasDelegate() const;
    /// False while a frame waits for the delegate and late frames are discarded.
    [[nodiscard]] bool hasPlace() const { return !discardsLateFrames_ || !isWaiting_; }

    /// Frames come from one thread at a time. The frame is gated when its stream has been closed by its turn.
    void deliver(std::shared_ptr<platform::CMSampleBuffer> sampleBuffer, std::shared_ptr<FrameStream> stream);
    /// A camera may be lost before the first delegate is set, which is then told.
    void tellDrop(platform::FrameTicket ticket, platform::DropCause cause);

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
    Receiver receiver_;
    std::optional<platform::FrameTicket> untoldLoss_;
};

} // namespace tamsel::engine
