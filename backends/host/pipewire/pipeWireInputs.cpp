#include <host/pipewire/pipeWireInputs.h>

#include <host/pipewire/PipeWireConnection.h>

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <utility>

namespace tamsel::host {

using platform::Error;

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

InputAccess pipeWireAccess()
{
    return inputAccess(pipeWireSocket(), R_OK | W_OK);
}

std::vector<PipeWireNode> pipeWireNodes(PipeWireKind kind)
{
    if (pipeWireAccess() != InputAccess::readable)
        return {};
    const auto connection
        = PipeWireConnection::open(kind, -1, {.end = std::chrono::steady_clock::now() + answerLimit});
    return connection ? (*connection)->nodes() : std::vector<PipeWireNode>{};
}

std::string titleOf(const std::string& input)
{
    return input == pipeWirePrefix ? "pipewire" : input;
}

std::expected<FoundNode, Error> findPipeWireInput(const std::string& input, PipeWireKind kind,
    platform::AVCaptureDevicePosition position, int descriptor, const PipeWireWait& wait)
{
    auto connection = PipeWireConnection::open(kind, descriptor, wait);
    if (!connection)
        return std::unexpected(
            Error{.localizedDescription = titleOf(input) + ": " + connection.error().localizedDescription,
                .code = connection.error().code});
    auto node = findNode((*connection)->nodes(), input.substr(pipeWirePrefix.size()), position);
    if (!node)
        return std::unexpected(Error{.localizedDescription = titleOf(input) + ": PipeWire has no such "
                + (kind == PipeWireKind::camera ? "camera" : "microphone"),
            .code = ENODEV});
    return FoundNode{std::move(*connection), std::move(*node)};
}

} // namespace tamsel::host
