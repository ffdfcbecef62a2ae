#pragma once

#include <host/pipewire/PipeWireNode.h>

#include <string>
#include <vector>

namespace tamsel::host {

/// Where the daemon of this user listens, by the variables that libpipewire reads; empty when they name no folder.
[[nodiscard]] std::string pipeWireSocket();

/// The cameras of the daemon, empty without one. May wait for it, at most a second.
[[nodiscard]] std::vector<PipeWireNode> pipeWireCameras();

} // namespace tamsel::host
