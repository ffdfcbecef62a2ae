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

/// What the user has said about the use of a camera or a microphone.
enum class AVAuthorizationStatus : std::uint8_t {
    notDetermined = 0,
    restricted = 1,
    denied = 2,
    authorized = 3
};

/// Where a camera stands on the device.
enum class AVCaptureDevicePosition : std::uint8_t { unspecified = 0, back = 1, front = 2 };

/// The kinds of device.
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

/// What a device delivers at the moment.
struct AVCaptureDeviceFormat {
    /// Pixels, with pixel aspect ratio and clean aperture applied; absent when the device cannot tell.
    std::optional<CGSize> presentationDimensions;
    /// Horizontal, in degrees.
    float videoFieldOfView = 0;

    bool operator==(const AVCaptureDeviceFormat&) const = default;
};

/// A camera or a microphone. Thread-safe.
class AVCaptureDevice {
public:
    virtual ~AVCaptureDevice() = default;

    /// Tells it from every other device, and stays the same.
    [[nodiscard]] virtual std::string uniqueID() const = 0;
    [[nodiscard]] virtual std::string localizedName() const = 0;
    [[nodiscard]] virtual AVMediaType mediaType() const = 0;
    [[nodiscard]] virtual AVCaptureDeviceType deviceType() const = 0;
    [[nodiscard]] virtual AVCaptureDevicePosition position() const = 0;
    [[nodiscard]] virtual AVCaptureDeviceFormat activeFormat() const = 0;

    /// Millimetres; -1 when unknown.
    [[nodiscard]] virtual int minimumFocusDistance() const = 0;

    /// Fails when somebody else has it locked or the device is gone; balanced by `unlockForConfiguration`.
    [[nodiscard]] virtual std::expected<void, Error> lockForConfiguration() = 0;
    /// Ends what `lockForConfiguration` began.
    virtual void unlockForConfiguration() = 0;

    /// What `setVideoZoomFactor` accepts; the device must be locked for the latter.
    [[nodiscard]] virtual double minAvailableVideoZoomFactor() const = 0;
    [[nodiscard]] virtual double maxAvailableVideoZoomFactor() const = 0;
    [[nodiscard]] virtual double videoZoomFactor() const = 0;
    virtual void setVideoZoomFactor(double factor) = 0;

    /// A flash that could fire now.
    [[nodiscard]] virtual bool isFlashAvailable() const = 0;
    [[nodiscard]] virtual bool hasTorch() const = 0;
    /// The device must be locked. It stays so until it is set anew.
    virtual void setTorchMode(AVCaptureTorchMode mode) = 0;
};

} // namespace tamsel::platform
