#pragma once

#include <engine/capture/BufferPool.h>
#include <engine/capture/CameraDevice.h>
#include <engine/capture/FrameStream.h>
#include <engine/capture/SessionSound.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/AVCaptureSession.h>

#include <memory>
#include <optional>
#include <vector>

namespace tamsel::engine {

struct CaptureContext;

/// A capture session as a phone has it. Questions and settings never wait; `canAddInput`, `addInput`, `removeInput`,
/// `startRunning`, `stopRunning` and a commit that starts may take as long as the device needs.
class CaptureSession final : public platform::AVCaptureSession,
                             public DeviceHolder,
                             public std::enable_shared_from_this<CaptureSession> {
public:
    /// Without inputs and outputs; told when the application returns to the front.
    [[nodiscard]] static std::shared_ptr<CaptureSession> create(std::shared_ptr<CaptureContext> context);

    explicit CaptureSession(std::shared_ptr<CaptureContext> context);
    ~CaptureSession() override;

    void beginConfiguration() override;
    void commitConfiguration() override;
    void setSessionPreset(platform::AVCaptureSessionPreset preset) override;
    [[nodiscard]] bool canAddInput(const std::shared_ptr<platform::AVCaptureInput>& input) override;
    void addInput(std::shared_ptr<platform::AVCaptureInput> input) override;
    void removeInput(const std::shared_ptr<platform::AVCaptureInput>& input) override;
    [[nodiscard]] std::vector<std::shared_ptr<platform::AVCaptureInput>> inputs() const override;
    [[nodiscard]] bool canAddOutput(const std::shared_ptr<platform::AVCaptureOutput>& output) override;
    void addOutput(std::shared_ptr<platform::AVCaptureOutput> output) override;
    void removeOutput(const std::shared_ptr<platform::AVCaptureOutput>& output) override;
    [[nodiscard]] std::vector<std::shared_ptr<platform::AVCaptureOutput>> outputs() const override;
    void startRunning() override;
    void stopRunning() override;
    [[nodiscard]] bool isRunning() const override;
    [[nodiscard]] std::shared_ptr<const platform::FrameLedger> frameLedger() const override;

    void deviceWasTaken() override;

    /// Absent while the session has no camera.
    [[nodiscard]] std::shared_ptr<platform::AVCaptureConnection> previewConnection() const;

private:
    [[nodiscard]] bool accepts(const std::shared_ptr<platform::AVCaptureInput>& input) const;
    [[nodiscard]] std::shared_ptr<CameraDevice> camera() const;
    /// The output of one kind; absent when the session has none.
    template <typename Kind> [[nodiscard]] std::shared_ptr<Kind> output() const;
    void makeConnections();
    [[nodiscard]] std::shared_ptr<FrameStream> currentStream() const;
    void start();
    void end(const std::shared_ptr<FrameStream>& stream);
    void noteEnd(const std::shared_ptr<FrameStream>& stream);
    /// Absent while the session has none.
    [[nodiscard]] std::shared_ptr<MicrophoneDriver> microphone() const;
    void replaceSound(std::shared_ptr<SessionSound> sound);
    void deviceWasLost();
    void applicationReturned();

    const std::shared_ptr<CaptureContext> context_;
    const std::shared_ptr<platform::DispatchQueue> globalQueue_;
    const std::shared_ptr<FrameCounter> counter_ = std::make_shared<FrameCounter>();
    const std::shared_ptr<BufferPool> pool_;

    /// One change of what the device does at a time.
    const std::unique_ptr<OperationLock> operation_;
    CameraDevice::Claim claim_ = CameraDevice::noClaim;
    std::shared_ptr<CameraDevice> claimed_;

    /// What questions read.
    mutable Mutex guard_;
    std::vector<std::shared_ptr<platform::AVCaptureInput>> inputs_;
    std::vector<std::shared_ptr<platform::AVCaptureOutput>> outputs_;
    platform::AVCaptureSessionPreset preset_ = platform::AVCaptureSessionPreset::high;
    std::shared_ptr<Connection> previewConnection_;
    std::shared_ptr<FrameStream> stream_;
    std::shared_ptr<SessionSound> sound_; ///< while it runs
    int openConfigurations_ = 0;
    bool startsAtCommit_ = false;
    bool startsInForeground_ = false;
    bool isRunning_ = false;
};

} // namespace tamsel::engine
