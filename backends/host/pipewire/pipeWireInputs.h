#pragma once

#include <host/InputAccess.h>
#include <host/pipewire/PipeWireNode.h>

#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/Error.h>

#include <expected>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::host {

class PipeWireConnection;
struct PipeWireWait;

/// How an input of PipeWire begins. The name or the serial number of a node follows, or nothing.
inline constexpr std::string_view pipeWirePrefix = "pipewire:";

/// The error in a build without PipeWire.
[[nodiscard]] inline platform::Error noPipeWire(const std::string& input)
{
    return {.localizedDescription = input + ": this build has no PipeWire"};
}

/// Where the daemon of this user listens, by the variables that libpipewire reads; empty when they name no folder.
[[nodiscard]] std::string pipeWireSocket();

/// Whether there is a daemon of this user.
[[nodiscard]] InputAccess pipeWireAccess();

/// The nodes of the daemon, empty without one. May wait for it, at most a second.
[[nodiscard]] std::vector<PipeWireNode> pipeWireNodes(PipeWireKind kind);

/// For errors.
[[nodiscard]] std::string titleOf(const std::string& input);

/// A node, and the connection to its daemon.
struct FoundNode {
    std::shared_ptr<PipeWireConnection> connection;
    PipeWireNode node;
};

/// Connects (see `PipeWireConnection::open`) and looks for the node of an input (see `findNode`). The error is one line that
/// names the input.
[[nodiscard]] std::expected<FoundNode, platform::Error> findPipeWireInput(const std::string& input,
    PipeWireKind kind, platform::AVCaptureDevicePosition position, int descriptor, const PipeWireWait& wait);

} // namespace tamsel::host
