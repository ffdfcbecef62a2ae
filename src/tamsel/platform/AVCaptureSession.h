#pragma once

#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/AVCaptureOutput.h>
#include <tamsel/platform/AVCapturePhotoOutput.h>
#include <tamsel/platform/FrameLedger.h>

#include <memory>
#include <utility>
#include <vector>

namespace tamsel::platform {

/// The purpose of a session's frames: stills, or movies.
enum class AVCaptureSessionPreset : std::uint8_t { photo, high };

/// A source of a session.
class AVCaptureInput {
public:
    virtual ~AVCaptureInput() = default;
};

/// The input of a device.
class AVCaptureDeviceInput final : public AVCaptureInput {
public:
    explicit AVCaptureDeviceInput(std::shared_ptr<AVCaptureDevice> device) : device_(std::move(device)) { }

    [[nodiscard]] const std::shared_ptr<AVCaptureDevice>& device() const { return device_; }

private:
    std::shared_ptr<AVCaptureDevice> device_;
};

/// Connects inputs to outputs. Changes between `beginConfiguration` and `commitConfiguration` take effect together, and
/// so does a start. The session that adds a device last takes it over from any other session of the process.
/// Thread-safe; calls may take as long as the device needs, so choose their queue accordingly.
class AVCaptureSession {
public:
    virtual ~AVCaptureSession() = default;

    /// Opens a block of changes. Blocks may be nested.
    virtual void beginConfiguration() = 0;
    /// Closes it; the outermost one applies the changes.
    virtual void commitConfiguration() = 0;
    virtual void setSessionPreset(AVCaptureSessionPreset preset) = 0;

    /// False when the session refuses it, for example because it has a camera.
    [[nodiscard]] virtual bool canAddInput(const std::shared_ptr<AVCaptureInput>& input) = 0;
    virtual void addInput(std::shared_ptr<AVCaptureInput> input) = 0;
    virtual void removeInput(const std::shared_ptr<AVCaptureInput>& input) = 0;
    [[nodiscard]] virtual std::vector<std::shared_ptr<AVCaptureInput>> inputs() const = 0;

    /// False when the session refuses it, for example because it has one of this kind.
    [[nodiscard]] virtual bool canAddOutput(const std::shared_ptr<AVCaptureOutput>& output) = 0;
    virtual void addOutput(std::shared_ptr<AVCaptureOutput> output) = 0;
    virtual void removeOutput(const std::shared_ptr<AVCaptureOutput>& output) = 0;
    [[nodiscard]] virtual std::vector<std::shared_ptr<AVCaptureOutput>> outputs() const = 0;

    /// In the background the start is delayed until the application returns.
    virtual void startRunning() = 0;
    /// Frames that have not reached their delegate yet are gated.
    virtual void stopRunning() = 0;
    [[nodiscard]] virtual bool isRunning() const = 0;

    /// The frame counts of this session.
    [[nodiscard]] virtual std::shared_ptr<const FrameLedger> frameLedger() const = 0;
};

} // namespace tamsel::platform
