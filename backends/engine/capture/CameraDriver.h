#pragma once

#include <tamsel/platform/AVCaptureSession.h>
#include <tamsel/platform/Geometry.h>

#include <chrono>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::engine {

/// The fixed properties of a camera.
struct CameraDescription {
    std::string uniqueID;
    std::string name;
    platform::AVCaptureDeviceType type = platform::AVCaptureDeviceType::builtInWideAngleCamera;
    platform::AVCaptureDevicePosition position = platform::AVCaptureDevicePosition::back;
    /// Of the active format; absent when it is unknown before the device runs.
    std::optional<platform::CGSize> presentationDimensions;
    float videoFieldOfView = 60; ///< degrees
    int minimumFocusDistance = -1; ///< millimetres; -1 when unknown
    double minZoomFactor = 1;
    double maxZoomFactor = 1;
    /// The flash modes for stills; a camera without a flash has `off` only.
    std::vector<platform::AVCaptureFlashMode> flashModes{platform::AVCaptureFlashMode::off};
    bool hasTorch = false;
    /// How the sensor is mounted: a connection of this orientation delivers the stored pixels unrotated.
    platform::AVCaptureVideoOrientation sensorOrientation = platform::AVCaptureVideoOrientation::portrait;
    /// Absent when the input does not know it.
    std::shared_ptr<const platform::CameraIntrinsicMatrix> intrinsicMatrix;
};

/// A frame in a driver's own format, before the conversion to pixels. A movie writer of the same back end can encode it
/// without converting back, which would lose quality.
class NativePicture {
public:
    virtual ~NativePicture() = default;
};

/// One frame of a camera.
struct CapturedFrame {
    std::shared_ptr<platform::CVPixelBuffer> buffer; ///< one of the sink's, filled in sensor orientation
    platform::CMTime mediaTime; ///< on the device's own clock
    std::chrono::nanoseconds captureTime{}; ///< on the platform's monotonic clock
    /// Absent when there is none, or the sink does not want it.
    std::shared_ptr<const NativePicture> nativePicture = nullptr;
    /// The part of the picture without zoom that fills the buffer, in pixels; absent when it is all of it.
    std::optional<platform::CGRect> visiblePart = std::nullopt;
};

/// Receives a driver's frames. A sink serves one start; after the end of the stream every call is ignored, so a driver
/// need not wait for its device when it is stopped. Thread-safe, but frames come from one thread at a time and in
/// order; the next buffer may be acquired meanwhile.
class FrameSink {
public:
    virtual ~FrameSink() = default;

    /// A free buffer of the session's pool; absent when all are in use: the driver then calls `drop(noBuffer)`.
    [[nodiscard]] virtual std::shared_ptr<platform::CVPixelBuffer> acquireBuffer(
        std::size_t width, std::size_t height)
        = 0;

    /// False once it accepts no more frames: a start that still waits for its device may give up.
    [[nodiscard]] virtual bool isOpen() const { return true; }

    /// Whether frames should have their native picture. Does not change.
    [[nodiscard]] virtual bool wantsNativePictures() const { return false; }

    /// The next frame. Must be the caller's last act: it may be processed on the same thread.
    virtual void deliver(CapturedFrame frame) = 0;

    /// The device produced a frame that could not be delivered. Without a cause it is not reported but counts as gated.
    virtual void drop(std::optional<platform::DropCause> cause) = 0;

    /// The device is gone: the session stops and one drop is reported.
    virtual void lose(const platform::Error& reason) = 0;
};

/// One camera of a back end. Calls come from one thread at a time.
class CameraDriver {
public:
    virtual ~CameraDriver() = default;

    /// Thread-safe.
    [[nodiscard]] virtual CameraDescription description() const = 0;

    /// False for a device that is not, or no longer, connected. Thread-safe.
    [[nodiscard]] virtual bool isPresent() const = 0;

    /// Opens the device; fails when another process holds it or it is not connected.
    [[nodiscard]] virtual std::expected<void, platform::Error> open() = 0;
    /// Does nothing when it is not open.
    virtual void close() = 0;

    /// Starts to fill the sink. An open device only; may take as long as the device needs to start.
    [[nodiscard]] virtual std::expected<void, platform::Error> start(
        platform::AVCaptureSessionPreset preset, std::shared_ptr<FrameSink> sink)
        = 0;
    /// Requests the end of the stream and does not wait for it. A later `start` works at once.
    virtual void stop() = 0;

    /// Applies a factor within the description's range. May take as long as the device needs, as may the torch.
    virtual void setZoomFactor(double factor) = 0;
    /// For a camera whose description has a torch.
    virtual void setTorchMode(platform::AVCaptureTorchMode /*mode*/) { }
};

} // namespace tamsel::engine
