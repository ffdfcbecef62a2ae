#pragma once

#include <engine/capture/CameraDriver.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel::simulated {

class Scheduler;

/// A step of a camera that may fail.
enum class CameraStep : std::uint8_t { open, start, stop };

/// The behaviour of a simulated camera. Everything but its description may be changed at any time.
struct CameraScript {
    platform::AVCaptureDevicePosition position = platform::AVCaptureDevicePosition::back;
    platform::AVCaptureDeviceType type = platform::AVCaptureDeviceType::builtInWideAngleCamera;
    std::size_t width = 64;
    std::size_t height = 48;
    bool tellsDimensions = true;
    float videoFieldOfView = 60; ///< degrees
    int minimumFocusDistance = -1; ///< millimetres; -1 when unknown
    double minZoomFactor = 1;
    double maxZoomFactor = 16;
    std::vector<platform::AVCaptureFlashMode> flashModes{platform::AVCaptureFlashMode::off,
        platform::AVCaptureFlashMode::on, platform::AVCaptureFlashMode::automatic};
    bool hasTorch = true;
    platform::AVCaptureVideoOrientation sensorOrientation = platform::AVCaptureVideoOrientation::portrait;
    std::shared_ptr<const platform::CameraIntrinsicMatrix> intrinsicMatrix = nullptr;

    /// Of automatic frames while the camera runs; zero: only frames of `produceFrame`.
    std::chrono::nanoseconds frameInterval{};
    std::chrono::nanoseconds timeToOpen{};
    std::chrono::nanoseconds timeToStart{};
    std::chrono::nanoseconds timeToStop{};
    bool isPresent = true;
    bool isHeldByAnotherProcess = false;
    /// Called in each step, after its time above; may take time itself. An error fails the step; a stop cannot fail.
    std::function<std::optional<platform::Error>(CameraStep)> answer = nullptr;
};

/// A scripted camera. Its pixels encode their origin: blue is the column, green the row, red the frame's number, each
/// modulo 256.
class SimulatedCamera final : public engine::CameraDriver,
                              public std::enable_shared_from_this<SimulatedCamera> {
public:
    SimulatedCamera(CameraScript script, std::string uniqueID, Scheduler& scheduler);

    [[nodiscard]] CameraScript& script() { return script_; }

    /// Produces one frame now. False when the camera does not run or no buffer is free, which is then reported as a
    /// drop.
    bool produceFrame();
    /// The same for a frame of this size that was captured at this time.
    bool produceFrame(std::chrono::nanoseconds captureTime, std::size_t width, std::size_t height);
    /// Reports a frame that the device lost.
    void dropFrame(std::optional<platform::DropCause> cause = platform::DropCause::late);
    /// The camera disappears until `plugIn`; a session that runs on it ends.
    void unplug();
    /// A session that runs on it ends, as with a device that fails and stays.
    void lose(const platform::Error& reason);
    void plugIn() { script_.isPresent = true; }

    [[nodiscard]] bool isOpen() const { return isOpen_; }
    [[nodiscard]] bool isStarted() const { return sink_ != nullptr; }
    [[nodiscard]] double zoomFactor() const { return zoomFactor_; }
    [[nodiscard]] platform::AVCaptureTorchMode torchMode() const { return torchMode_; }
    [[nodiscard]] std::optional<platform::AVCaptureSessionPreset> preset() const { return preset_; }

    [[nodiscard]] engine::CameraDescription description() const override;
    [[nodiscard]] bool isPresent() const override { return script_.isPresent; }
    [[nodiscard]] std::expected<void, platform::Error> open() override;
    void close() override;
    [[nodiscard]] std::expected<void, platform::Error> start(
        platform::AVCaptureSessionPreset preset, std::shared_ptr<engine::FrameSink> sink) override;
    void stop() override;
    void setZoomFactor(double factor) override { zoomFactor_ = factor; }
    void setTorchMode(platform::AVCaptureTorchMode mode) override { torchMode_ = mode; }

private:
    void planFrame(std::uint64_t start, std::chrono::nanoseconds previous);
    [[nodiscard]] std::expected<void, platform::Error> answer(CameraStep step) const;

    CameraScript script_;
    const std::string uniqueID_;
    Scheduler& scheduler_;
    bool isOpen_ = false;
    double zoomFactor_ = 1;
    platform::AVCaptureTorchMode torchMode_ = platform::AVCaptureTorchMode::off;
    std::optional<platform::AVCaptureSessionPreset> preset_;
    std::shared_ptr<engine::FrameSink> sink_;
    std::uint64_t starts_ = 0;
    std::chrono::nanoseconds startTime_{};
    std::uint64_t frames_ = 0;
};

} // namespace tamsel::simulated
