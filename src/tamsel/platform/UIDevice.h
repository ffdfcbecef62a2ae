#pragma once

#include <cstdint>
#include <string>

namespace tamsel::platform {

/// The orientation of the device. Home side (see `AVCaptureVideoOrientation`) at the right: `landscapeLeft`; at the
/// left: `landscapeRight`. The names refer to the device's top, so they are opposite to the other two enumerations.
enum class UIDeviceOrientation : std::uint8_t {
    unknown = 0,
    portrait = 1,
    portraitUpsideDown = 2,
    landscapeLeft = 3,
    landscapeRight = 4,
    faceUp = 5,
    faceDown = 6,
};

/// Facts about the device. Thread-safe.
class UIDevice {
public:
    virtual ~UIDevice() = default;

    [[nodiscard]] virtual UIDeviceOrientation orientation() const = 0;
    /// For example "16.4".
    [[nodiscard]] virtual std::string systemVersion() const = 0;
    [[nodiscard]] virtual std::string model() const = 0;
};

/// True when the device's system version is `major`.`minor` or later. A text that is not a version counts as 0.0.
[[nodiscard]] bool isSystemVersionAtLeast(const UIDevice& device, int major, int minor);

} // namespace tamsel::platform
