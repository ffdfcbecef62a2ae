#pragma once

#include <cstdint>

namespace tamsel::platform {

/// How a device is held when a picture is upright on it. The home side is the short side below the screen in portrait:
/// - `portrait`: the home side is at the bottom;
/// - `portraitUpsideDown`: at the top;
/// - `landscapeRight`: at the right;
/// - `landscapeLeft`: at the left.
/// For a sensor it says how it is mounted: its stored pictures are upright while the device is held like this.
enum class AVCaptureVideoOrientation : std::uint8_t {
    portrait = 1,
    portraitUpsideDown = 2,
    landscapeRight = 3,
    landscapeLeft = 4,
};

/// What joins an input to an output or a preview layer inside a session. Thread-safe.
class AVCaptureConnection {
public:
    virtual ~AVCaptureConnection() = default;

    [[nodiscard]] virtual bool isEnabled() const = 0;
    /// A connection that is not enabled lets no live frame pass.
    virtual void setEnabled(bool enabled) = 0;
    [[nodiscard]] virtual bool automaticallyAdjustsVideoMirroring() const = 0;
    virtual void setAutomaticallyAdjustsVideoMirroring(bool adjusts) = 0;
    [[nodiscard]] virtual AVCaptureVideoOrientation videoOrientation() const = 0;
    /// From the next frame on.
    virtual void setVideoOrientation(AVCaptureVideoOrientation orientation) = 0;
};

} // namespace tamsel::platform
