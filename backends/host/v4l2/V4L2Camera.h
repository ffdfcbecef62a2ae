#pragma once

#include <host/DigitalZoom.h>
#include <host/InputAccess.h>
#include <host/v4l2/LedTorch.h>
#include <host/v4l2/V4L2Calls.h>
#include <host/v4l2/V4L2Controls.h>

#include <engine/capture/CameraDriver.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/Mutex.h>

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tamsel::host {

class V4L2Device;
class V4L2Stream;

/// The path of a camera that is the first device that can capture.
inline constexpr const char* automaticNode = "auto";

/// A video node of the kernel as a camera. While it is open, no other process can use the device, even if it does not
/// run. No call waits for another thread; it may be destroyed on any thread. Errors name the node and carry `errno` as
/// their code.
///
/// The lens zooms as far as it reaches, in its steps, and the rest is digital; so the largest factor, known once the
/// device has been opened, is the product of both. A start sets the zoom, and switches the autofocus on.
class V4L2Camera final : public engine::CameraDriver {
public:
    /// The path "auto": the first device that can capture when the camera is opened. The seed is the description until
    /// the device reports its size, its controls and, if the seed has none, its name. The device's own torch comes before
    /// the given one; it is off when the camera stops. `report` receives a line for each unusable control, on the thread
    /// of the call. The sources must outlive the camera.
    V4L2Camera(
        std::string path, engine::CameraDescription seed, engine::EventSources& sources,
        V4L2Calls calls = systemV4L2Calls(), std::optional<LedTorch> torch = std::nullopt,
        std::function<void(std::string_view)> report = [](std::string_view) { });
    ~V4L2Camera() override;

    [[nodiscard]] engine::CameraDescription description() const override;
    [[nodiscard]] bool isPresent() const override { return access() != InputAccess::absent; }
    [[nodiscard]] InputAccess access() const;

    [[nodiscard]] std::expected<void, platform::Error> open() override;
    void close() override;

    /// Reopens a device that was lost.
    [[nodiscard]] std::expected<void, platform::Error> start(
        platform::AVCaptureSessionPreset preset, std::shared_ptr<engine::FrameSink> sink) override;
    void stop() override;

    void setZoomFactor(double factor) override;
    /// Automatic is off: nothing here measures the light.
    void setTorchMode(platform::AVCaptureTorchMode mode) override;

private:
    [[nodiscard]] std::expected<void, platform::Error> takeDevice();
    [[nodiscard]] std::expected<void, platform::Error> startStream(
        platform::AVCaptureSessionPreset preset, std::shared_ptr<engine::FrameSink> sink);
    void applyZoom();
    /// After each use of a control, which may turn out to be unusable.
    void describeControls();

    const std::string path_;
    engine::EventSources& sources_;
    const std::shared_ptr<const V4L2Calls> calls_;

    const std::optional<LedTorch> torch_;
    const std::function<void(std::string_view)> report_;
    const double maximumDigitalZoom_;
    const std::shared_ptr<DigitalZoom> zoom_ = std::make_shared<DigitalZoom>();

    bool isOpen_ = false;
    bool isTorchOn_ = false;
    double zoomFactor_ = 1;
    std::shared_ptr<V4L2Device> device_; ///< absent also in an open camera that was lost
    V4L2Controls controls_; ///< of the device, or of the last one
    std::shared_ptr<V4L2Stream> stream_;

    mutable Mutex descriptionGuard_;
    engine::CameraDescription description_ TAMSEL_GUARDED_BY(descriptionGuard_);
};

} // namespace tamsel::host
