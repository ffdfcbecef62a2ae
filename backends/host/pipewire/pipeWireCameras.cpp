#include <host/pipewire/pipeWireCameras.h>

#include <host/InputAccess.h>
#include <host/pipewire/PipeWireConnection.h>

#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace tamsel::host {

namespace {

constexpr auto answerLimit = std::chrono::seconds(1);

std::string_view variable(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

} // namespace

std::string pipeWireSocket()
{
    std::string_view name = variable("PIPEWIRE_REMOTE");
    if (name.empty())
        name = "pipewire-0";
    if (name.starts_with('/'))
        return std::string(name);
    for (const char* folder : {"PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR", "USERPROFILE"}) {
        if (const std::string_view path = variable(folder); !path.empty())
            return std::string(path) + "/" + std::string(name);
    }
    return {};
}

std::vector<PipeWireNode> pipeWireCameras()
{
    if (inputAccess(pipeWireSocket(), R_OK | W_OK) != InputAccess::readable)
        return {};
    const auto connection
        = PipeWireConnection::open(-1, {.end = std::chrono::steady_clock::now() + answerLimit});
    return connection ? (*connection)->cameras() : std::vector<PipeWireNode>{};
}

} // namespace tamsel::host
