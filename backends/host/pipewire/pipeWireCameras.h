#pragma once

#include <tamsel/platform/AVCaptureDevice.h>

#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// A camera that a PipeWire daemon offers.
struct PipeWireCameraEntry {
    std::string input; ///< for `HostInput::input`
    std::string title; ///< for people; may be empty
    std::optional<platform::AVCaptureDevicePosition> position; ///< absent when it is unknown
    std::string v4l2Path; ///< the kernel's node of the same camera; empty when it has none
};

/// Where the daemon of this user listens, by the variables that libpipewire reads; empty when they name no folder.
[[nodiscard]] std::string pipeWireSocket();

/// The cameras of the daemon, empty without one. May wait for it, at most a second.
[[nodiscard]] std::vector<PipeWireCameraEntry> pipeWireCameras();

} // namespace tamsel::host
