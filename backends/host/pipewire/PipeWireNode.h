#pragma once

#include <host/camera/CameraMode.h>

#include <tamsel/platform/AVCaptureConnection.h>
#include <tamsel/platform/AVCaptureDevice.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct spa_dict;

namespace tamsel::host {

/// The kinds of nodes that are inputs.
enum class PipeWireKind : std::uint8_t { camera, microphone };

/// A camera or a microphone of a PipeWire daemon, as it describes itself.
struct PipeWireNode {
    std::uint32_t identifier = 0; ///< among the objects that exist now
    std::string serial; ///< of the object; never used again while the daemon runs
    std::string name; ///< the same when it comes back
    std::string title; ///< for people
    std::optional<platform::AVCaptureDevicePosition> position; ///< absent when it is unknown
    std::optional<platform::AVCaptureVideoOrientation> sensorOrientation; ///< absent when it is unknown
    std::string v4l2Path; ///< the kernel's node; empty when it has none
    std::vector<CameraMode> modes; ///< of a camera, that can be converted

    /// Takes what it knows from properties of the node, of which there may be more later.
    void describe(const spa_dict& properties);
};

/// The node of this name or serial number. Without one the first at the position, or else one whose position is unknown,
/// or else any; absent when there is none.
[[nodiscard]] std::optional<PipeWireNode> findNode(const std::vector<PipeWireNode>& nodes,
    const std::string& name, platform::AVCaptureDevicePosition position);

} // namespace tamsel::host
