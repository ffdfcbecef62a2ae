#pragma once

#include <host/DigitalZoom.h>
#include <host/DriverServices.h>
#include <host/InputAccess.h>

#include <engine/capture/CameraDriver.h>

#include <tamsel/Mutex.h>

#include <atomic>
#include <expected>
#include <memory>
#include <string>
#include <vector>

namespace tamsel::host {

struct FoundNode;
class PipeWireFrameStream;
struct PipeWireWait;

/// A camera of a PipeWire daemon. It is connected while it opens and while it runs; other programs may use it at the
/// same time. It counts as present while there is a daemon.
class PipeWireCamera final : public engine::CameraDriver {
public:
    /// The input names the node; "pipewire:" alone is the first camera at the position when it is opened. The location
    /// of a node does not change the position, and its rotation counts where the configuration has no orientation.
    PipeWireCamera(
        const HostInput& input, platform::AVCaptureDevicePosition position, DriverServices services);
    ~PipeWireCamera() override;

    [[nodiscard]] engine::CameraDescription description() const override;
    [[nodiscard]] bool isPresent() const override { return access() != InputAccess::absent; }
    [[nodiscard]] InputAccess access() const;
    /// See `HostCamera::abandon`.
    void abandon() { isAbandoned_ = true; }

    [[nodiscard]] std::expected<void, platform::Error> open() override;
    void close() override;
    [[nodiscard]] std::expected<void, platform::Error> start(
        platform::AVCaptureSessionPreset preset, std::shared_ptr<engine::FrameSink> sink) override;
    void stop() override;
    void setZoomFactor(double factor) override { zoom_->set(factor); }

private:
    [[nodiscard]] PipeWireWait waitUnless(std::function<bool()> isUnwanted);
    /// Connects and looks for the node.
    [[nodiscard]] std::expected<FoundNode, platform::Error> find(const PipeWireWait& wait);

    const std::string input_;
    const bool hasOrientation_;
    const DriverServices services_;
    const std::shared_ptr<DigitalZoom> zoom_ = std::make_shared<DigitalZoom>();
    std::atomic<bool> isAbandoned_ = false;

    std::shared_ptr<PipeWireFrameStream> stream_;
    std::weak_ptr<PipeWireFrameStream> ending_; ///< stopped, and not yet closed

    mutable Mutex guard_;
    engine::CameraDescription description_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::host
