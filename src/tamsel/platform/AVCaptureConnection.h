#pragma once

#include <cstdint>

namespace tamsel::platform {

/// The orientation of a device in which a picture is upright. The home side is the short side below the screen in
/// portrait:
/// - `portrait`: the home side is at the bottom;
/// - `portraitUpsideDown`: at the top;
/// - `landscapeRight`: at the right;
/// - `landscapeLeft`: at the left.
/// For a sensor it is the mounting: the stored pictures are upright while the device is held like this.
enum class AVCaptureVideoOrientation : std::uint8_t {
    portrait = 1,
    portraitUpsideDown = 2,
    landscapeRight = 3,
    landscapeLeft = 4,
};

/// Connects an input to an output or a preview layer inside a session. Thread-safe.
class AVCaptureConnection {
public:
    virtual ~AVCaptureConnection() = default;

    [[nodiscard]] virtual bool isEnabled() const = 0;
    /// A disabled connection blocks all live frames.
    virtual void setEnabled(bool enabled) = 0;
    [[nodiscard]] virtual bool automaticallyAdjustsVideoMirroring() const = 0;
    virtual void setAutomaticallyAdjustsVideoMirroring(bool adjusts) = 0;
    [[nodiscard]] virtual AVCaptureVideoOrientation videoOrientation() const = 0;
    /// Takes effect with the next frame.
    virtual void setVideoOrientation(AVCaptureVideoOrientation orientation) = 0;
};

} // namespace tamsel::platform
