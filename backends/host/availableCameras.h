#pragma once

#include <tamsel/platform/AVCaptureDevice.h>

#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// A camera of this machine.
struct AvailableCamera {
    std::string input; ///< for `HostInput::input`
    std::string otherInput; ///< of the same camera; empty when there is none
    std::string title; ///< for people; may be empty
    std::optional<platform::AVCaptureDevicePosition> position; ///< absent when it is unknown
};

/// The V4L2 devices and the cameras of the PipeWire daemon, each camera once. Those of PipeWire come first where the
/// program is in a sandbox, or may use no V4L2 device. Opens each device briefly, and may wait a second for the daemon.
[[nodiscard]] std::vector<AvailableCamera> availableCameras();

/// The cameras that a program takes when it names none.
struct AutomaticCameras {
    std::optional<std::string> back = std::nullopt; ///< the first that is not in front, or else the first
    std::optional<std::string> front = std::nullopt; ///< the first that PipeWire says is in front
};
/// Like `availableCameras`, but the daemon is asked only where its cameras come first. With `needsFront`, the only camera
/// can be the one in front.
[[nodiscard]] AutomaticCameras automaticCameras(bool needsFront = false);

/// The input of the camera that "pipewire:" means at a position; any other input, and without a camera of PipeWire, the input itself.
[[nodiscard]] std::string specificInput(const std::string& input, platform::AVCaptureDevicePosition position);

/// Whether a PipeWire daemon seems to run. Waits for nothing.
[[nodiscard]] bool hasPipeWireDaemon();

} // namespace tamsel::host
