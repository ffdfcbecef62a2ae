#pragma once

#include <engine/capture/CameraDevice.h>
#include <engine/capture/FrameStream.h>
#include <engine/capture/SessionSound.h>

#include <tamsel/Mutex.h>

#include <cstdint>
#include <memory>

namespace tamsel::engine {

struct CaptureContext;
class SessionGraph;

/// Whether a session runs, its claim to a camera and the streams of its current start. Thread-safe. `claim`,
/// `claimIfFree`, `release`, `start` and `stop` may take as long as the device needs, everything else returns at once.
class SessionRun final : public DeviceHolder, public std::enable_shared_from_this<SessionRun> {
public:
    explicit SessionRun(std::shared_ptr<CaptureContext> context);
    ~SessionRun() override;

    void beginConfiguration();
    /// Whether a start is waiting for this.
    [[nodiscard]] bool commitConfiguration();

    /// Takes the camera unless another session of this process holds it. False when it cannot be opened.
    [[nodiscard]] bool claimIfFree(const std::shared_ptr<CameraDevice>& device);
    /// Takes the camera, even from another session. A camera that cannot be opened is tried again at the start.
    void claim(const std::shared_ptr<CameraDevice>& device);
    /// Ends the streams and releases the camera.
    void release(CameraDevice& device);

    /// Waits for the commit while a configuration is open, and for the foreground while the application is in the
    /// background.
    void start(const SessionGraph& graph);
    void stop();
    [[nodiscard]] bool isRunning() const
    {
        const MutexLock lock(guard_);
        return state_ == State::running;
    }
    [[nodiscard]] bool startsInForeground() const
    {
        const MutexLock lock(guard_);
        return state_ == State::startsInForeground;
    }
    [[nodiscard]] std::shared_ptr<const platform::FrameLedger> frameLedger() const
    {
        return counter_->ledger();
    }

    /// The layers that show its pictures.
    [[nodiscard]] PreviewLayers& previews() { return *previews_; }

    void deviceWasTaken() override { end(); }
    void deviceWasLost(const platform::Error& reason) override;

private:
    enum class State : std::uint8_t { stopped, startsAtCommit, startsInForeground, running };

    [[nodiscard]] bool postponesStart();
    [[nodiscard]] bool renewClaim(CameraDevice& device) TAMSEL_REQUIRES(*operation_);
    void openStreams(const SessionGraph& graph, const CameraDescription& camera);
    void startDevice(CameraDevice& device, platform::AVCaptureSessionPreset preset)
        TAMSEL_REQUIRES(*operation_);
    [[nodiscard]] std::shared_ptr<FrameStream> currentStream() const
    {
        const MutexLock lock(guard_);
        return stream_;
    }
    void closeStream();
    void end();
    void noteEnd();

    const std::shared_ptr<CaptureContext> context_;
    const std::shared_ptr<platform::DispatchQueue> globalQueue_; ///< a session may outlive its back end
    const std::shared_ptr<FrameCounter> counter_;
    const std::shared_ptr<BufferPool> pool_;
    const std::shared_ptr<PreviewLayers> previews_ = std::make_shared<PreviewLayers>();

    /// Serialises changes of the device's state.
    const std::unique_ptr<OperationLock> operation_;
    std::shared_ptr<CameraDevice> claimed_ TAMSEL_GUARDED_BY(*operation_);
    CameraDevice::Claim claim_ TAMSEL_GUARDED_BY(*operation_) = CameraDevice::noClaim;

    mutable Mutex guard_;
    State state_ TAMSEL_GUARDED_BY(guard_) = State::stopped;
    int openConfigurations_ TAMSEL_GUARDED_BY(guard_) = 0;
    std::shared_ptr<FrameStream> stream_ TAMSEL_GUARDED_BY(guard_); ///< of the latest start
    std::shared_ptr<SessionSound> sound_ TAMSEL_GUARDED_BY(guard_); ///< until the stream ends
    std::shared_ptr<void> activity_ TAMSEL_GUARDED_BY(guard_); ///< until the device has stopped
};

} // namespace tamsel::engine
