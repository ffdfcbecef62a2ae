#pragma once

#include <host/DriverServices.h>
#include <host/InputAccess.h>
#include <host/microphone/PlaybackClock.h>

#include <tamsel/platform/Error.h>

#include <expected>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace tamsel::host {

/// A camera of the host, and the permission to use it.
struct HostCamera {
    std::shared_ptr<engine::CameraDriver> driver;
    /// Checks again each time, without waiting. Thread-safe.
    std::function<InputAccess()> access;
    /// Of a played file; absent for other inputs.
    std::shared_ptr<const PlaybackClock> clock = nullptr;
    /// The folder in which its file or node appears and disappears; empty for other inputs.
    std::string folder = {};
    /// Ends every wait for the input, now and from now on. Thread-safe; absent for inputs that never wait.
    std::function<void()> abandon = nullptr;
};

/// Whether the input is a V4L2 device: the name of a node, even if it does not exist now, any other name of an existing one,
/// or "auto".
[[nodiscard]] bool isVideoNode(const std::string& input);

/// Makes the driver for an input of any kind. The error is one line, for an input that can never be opened.
[[nodiscard]] std::expected<HostCamera, platform::Error> makeHostCamera(
    const HostInput& input, platform::AVCaptureDevicePosition position, DriverServices services);

} // namespace tamsel::host
