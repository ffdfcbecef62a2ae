#pragma once

#include <engine/capture/SessionGraph.h>
#include <engine/capture/SessionRun.h>

#include <tamsel/platform/AVCaptureSession.h>

#include <memory>
#include <utility>
#include <vector>

namespace tamsel::engine {

/// The capture session of a phone. Queries and settings never wait; `canAddInput`, `addInput`, `removeInput`,
/// `startRunning`, `stopRunning` and a commit that starts may take as long as the device needs.
class CaptureSession final : public platform::AVCaptureSession {
public:
    /// Without inputs and outputs. A start that was requested in the background is made when the application returns.
    [[nodiscard]] static std::shared_ptr<CaptureSession> create(
        const std::shared_ptr<CaptureContext>& context);

    explicit CaptureSession(std::shared_ptr<CaptureContext> context);

    void beginConfiguration() override;
    void commitConfiguration() override;
    void setSessionPreset(platform::AVCaptureSessionPreset preset) override;
    [[nodiscard]] bool canAddInput(const std::shared_ptr<platform::AVCaptureInput>& input) override;
    void addInput(std::shared_ptr<platform::AVCaptureInput> input) override;
    void removeInput(const std::shared_ptr<platform::AVCaptureInput>& input) override;
    [[nodiscard]] std::vector<std::shared_ptr<platform::AVCaptureInput>> inputs() const override
    {
        return graph_.inputs();
    }
    [[nodiscard]] bool canAddOutput(const std::shared_ptr<platform::AVCaptureOutput>& output) override;
    void addOutput(std::shared_ptr<platform::AVCaptureOutput> output) override;
    void removeOutput(const std::shared_ptr<platform::AVCaptureOutput>& output) override;
    [[nodiscard]] std::vector<std::shared_ptr<platform::AVCaptureOutput>> outputs() const override
    {
        return graph_.outputs();
    }
    void startRunning() override;
    void stopRunning() override;
    [[nodiscard]] bool isRunning() const override { return run_->isRunning(); }
    [[nodiscard]] std::shared_ptr<const platform::FrameLedger> frameLedger() const override
    {
        return run_->frameLedger();
    }

    /// Absent while the session has no camera.
    [[nodiscard]] std::shared_ptr<Connection> previewConnection() const { return graph_.previewConnection(); }
    /// From now on the layer shows the pictures of this session.
    void addPreviewLayer(std::weak_ptr<PreviewLayer> layer) { run_->previews().add(std::move(layer)); }

private:
    const std::shared_ptr<CaptureContext> context_;
    SessionGraph graph_;
    const std::shared_ptr<SessionRun> run_; ///< held weakly by its streams and its device
};

} // namespace tamsel::engine
