#pragma once

#include <tamsel/platform/AVMediaType.h>
#include <tamsel/platform/Error.h>
#include <tamsel/platform/Geometry.h>

#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <string>

namespace tamsel::platform {

/// The user's permission to use a camera or a microphone.
enum class AVAuthorizationStatus : std::uint8_t {
    notDetermined = 0,
    restricted = 1,
    denied = 2,
    authorized = 3
};

/// The position of a camera on the device.
enum class AVCaptureDevicePosition : std::uint8_t { unspecified = 0, back = 1, front = 2 };

/// The types of device.
enum class AVCaptureDeviceType : std::uint8_t {
    builtInWideAngleCamera,
    builtInDualWideCamera,
    builtInTripleCamera,
    builtInMicrophone,
};

/// When the flash fires.
enum class AVCaptureFlashMode : std::uint8_t { off = 0, on = 1, automatic = 2 };
/// When the torch is on.
enum class AVCaptureTorchMode : std::uint8_t { off = 0, on = 1, automatic = 2 };

/// The current format of a device.
struct AVCaptureDeviceFormat {
    /// Pixels, with pixel aspect ratio and clean aperture applied; absent when the device does not know it.
    std::optional<CGSize> presentationDimensions;
    /// Horizontal, in degrees.
    float videoFieldOfView = 0;

    bool operator==(const AVCaptureDeviceFormat&) const = default;
};

/// A camera or a microphone. Thread-safe.
class AVCaptureDevice {
public:
    virtual ~AVCaptureDevice() = default;

    /// Unique and constant.
    [[nodiscard]] virtual std::string uniqueID() const = 0;
    [[nodiscard]] virtual std::string localizedName() const = 0;
    [[nodiscard]] virtual AVMediaType mediaType() const = 0;
    [[nodiscard]] virtual AVCaptureDeviceType deviceType() const = 0;
    [[nodiscard]] virtual AVCaptureDevicePosition position() const = 0;
    [[nodiscard]] virtual AVCaptureDeviceFormat activeFormat() const = 0;

    /// Millimetres; -1 when unknown.
    [[nodiscard]] virtual int minimumFocusDistance() const = 0;

    /// Fails when another client has it locked or the device is gone; balanced by `unlockForConfiguration`.
    [[nodiscard]] virtual std::expected<void, Error> lockForConfiguration() = 0;
    /// Balances `lockForConfiguration`.
    virtual void unlockForConfiguration() = 0;

    /// The range of `setVideoZoomFactor`, which needs the lock.
    [[nodiscard]] virtual double minAvailableVideoZoomFactor() const = 0;
    [[nodiscard]] virtual double maxAvailableVideoZoomFactor() const = 0;
    [[nodiscard]] virtual double videoZoomFactor() const = 0;
    virtual void setVideoZoomFactor(double factor) = 0;

    /// Whether the flash could fire now.
    [[nodiscard]] virtual bool isFlashAvailable() const = 0;
    [[nodiscard]] virtual bool hasTorch() const = 0;
    /// The device must be locked. The mode stays until it is set again.
    virtual void setTorchMode(AVCaptureTorchMode mode) = 0;
};

} // namespace tamsel::platform
