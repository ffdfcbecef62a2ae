#pragma once

#include <engine/capture/BufferPool.h>
#include <engine/capture/CameraDriver.h>
#include <engine/capture/DetectionStream.h>
#include <engine/capture/MovieFileOutput.h>
#include <engine/capture/PhotoOutput.h>
#include <engine/capture/PreviewLayer.h>
#include <engine/capture/VideoDataOutput.h>

#include <tamsel/Mutex.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace tamsel::engine {

/// Numbers the frames of a session, over all its starts. Thread-safe.
class FrameCounter {
public:
    /// The observer may be absent.
    explicit FrameCounter(std::shared_ptr<platform::FrameObserver> observer)
        : ledger_(std::make_shared<platform::FrameLedger>(std::move(observer)))
    {
    }

    /// The timing of the next frame: number and times are greater than those of the frame before. `isFirst` marks the first
    /// frame of a start, whose media time may be earlier than the last; it is then shifted, with those that follow.
    [[nodiscard]] platform::FrameTiming next(
        platform::CMTime mediaTime, std::chrono::nanoseconds captureTime, bool isFirst);
    /// Skips the number of a frame that could not be delivered, and returns it.
    [[nodiscard]] std::uint64_t skip();

    [[nodiscard]] const std::shared_ptr<platform::FrameLedger>& ledger() const { return ledger_; }

private:
    const std::shared_ptr<platform::FrameLedger> ledger_;
    Mutex guard_;
    std::uint64_t sequence_ TAMSEL_GUARDED_BY(guard_) = 0;
    std::chrono::nanoseconds lastCaptureTime_ TAMSEL_GUARDED_BY(guard_) = std::chrono::nanoseconds::min();
    platform::CMTime lastMediaTime_ TAMSEL_GUARDED_BY(guard_);
    std::int64_t mediaOffset_ TAMSEL_GUARDED_BY(guard_) = 0;
};

/// Delivers the frames of one start from the driver to the outputs. When the device is lost it accepts no more frames,
/// and posted ones are still delivered; after `close` nothing is delivered.
class FrameStream final : public FrameSink, public std::enable_shared_from_this<FrameStream> {
public:
    /// The targets of the frames of one start.
    struct Parts {
        std::shared_ptr<FrameCounter> counter;
        std::shared_ptr<BufferPool> pool;
        /// Without one for video all frames are gated.
        SessionOutputs outputs;
        std::shared_ptr<PreviewLayers> previews;
        /// Absent when there is nothing to detect.
        std::shared_ptr<DetectionStream> detection;
        platform::AVCaptureVideoOrientation sensorOrientation;
        std::shared_ptr<const platform::CameraIntrinsicMatrix> intrinsicMatrix;
        /// Called once, on the driver's thread, when the device is lost.
        std::function<void()> lost;
    };

    explicit FrameStream(Parts parts) : parts_(std::move(parts)) { }

    [[nodiscard]] std::shared_ptr<platform::CVPixelBuffer> acquireBuffer(
        std::size_t width, std::size_t height) override;
    void deliver(CapturedFrame frame) override;
    [[nodiscard]] bool wantsNativePictures() const override { return parts_.outputs.movie != nullptr; }
    void drop(std::optional<platform::DropCause> cause) override;
    void lose(const platform::Error& reason) override;

    /// Ends stills and recordings that wait for frames.
    void close();
    [[nodiscard]] bool isOpen() const override { return state_ == State::open; }
    [[nodiscard]] bool isClosed() const { return state_ == State::closed; }

private:
    enum class State : std::uint8_t { open, lost, closed };

    [[nodiscard]] std::shared_ptr<const platform::CameraIntrinsicMatrix> matrixOf(
        const CapturedFrame& stored, int turns);
    [[nodiscard]] std::optional<platform::DropCause> makeUpright(
        std::shared_ptr<platform::CVPixelBuffer>& buffer, int turns);
    void reportDrop(std::optional<platform::DropCause> cause);
    void withhold(platform::FrameTicket ticket, std::optional<platform::DropCause> cause);
    void reportEnd(const platform::Error& reason);

    const Parts parts_;
    std::atomic<State> state_ = State::open;

    // On the driver's thread.
    bool isFirst_ = true;
    int matrixTurns_ = 0;
    std::optional<platform::CGRect> matrixPart_;
    std::shared_ptr<const platform::CameraIntrinsicMatrix> matrix_;

    /// For stills, recordings, detection and previews while all buffers of the pool are in use: one to fill, the newest
    /// of a preview, and the one on its screen.
    BufferPool spares_{3};
};

} // namespace tamsel::engine
