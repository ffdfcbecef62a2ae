#include <host/availableCameras.h>

#include <host/HostCamera.h>
#include <host/isSandboxed.h>
#include <host/pipewire/pipeWireInputs.h>
#include <host/v4l2/V4L2Nodes.h>

#include <algorithm>
#include <utility>

namespace tamsel::host {

using platform::AVCaptureDevicePosition;

namespace {

#ifdef TAMSEL_PIPEWIRE
std::vector<PipeWireNode> cameraNodes()
{
    return pipeWireNodes(PipeWireKind::camera);
}
#else
std::vector<PipeWireNode> cameraNodes()
{
    return {};
}
#endif

std::string inputOf(const PipeWireNode& node)
{
    return std::string(pipeWirePrefix) + node.name;
}

} // namespace

std::vector<AvailableCamera> availableCameras()
{
    std::vector<AvailableCamera> cameras;
    for (std::string& node : captureNodes())
        cameras.push_back({std::move(node), {}, {}, {}});
    const bool prefersPipeWire = cameras.empty() || isSandboxed();
    std::vector<AvailableCamera> others;
    for (const PipeWireNode& node : cameraNodes()) {
        const auto same = std::ranges::find(cameras, node.v4l2Path, &AvailableCamera::input);
        if (same == cameras.end()) {
            others.push_back({inputOf(node), {}, node.title, node.position});
        } else if (prefersPipeWire) {
            others.push_back({inputOf(node), same->input, node.title, node.position});
            cameras.erase(same);
        } else {
            *same = {same->input, inputOf(node), node.title, node.position};
        }
    }
    cameras.insert(prefersPipeWire ? cameras.begin() : cameras.end(), others.begin(), others.end());
    return cameras;
}

AutomaticCameras automaticCameras(bool needsFront)
{
    if (const std::vector<std::string> nodes = captureNodes(); !nodes.empty() && !isSandboxed())
        return {.back = nodes.front()};
    const std::vector<AvailableCamera> cameras = availableCameras();
    const auto isInFront
        = [](const AvailableCamera& camera) { return camera.position == AVCaptureDevicePosition::front; };
    const auto back = std::ranges::find_if_not(cameras, isInFront);
    const auto front = std::ranges::find_if(cameras, isInFront);
    AutomaticCameras result;
    if (back != cameras.end())
        result.back = back->input;
    if (front != cameras.end())
        (result.back || needsFront ? result.front : result.back) = front->input;
#ifdef TAMSEL_PIPEWIRE
    if (cameras.empty() && isSandboxed() && !needsFront)
        result.back = pipeWirePrefix; // its cameras are visible to a program that is permitted to use them
#endif
    return result;
}

std::string specificInput(
    const std::string& input, [[maybe_unused]] platform::AVCaptureDevicePosition position)
{
#ifdef TAMSEL_PIPEWIRE
    if (input == pipeWirePrefix) {
        if (const auto node = findNode(cameraNodes(), {}, position))
            return inputOf(*node);
    }
#endif
    return input;
}

bool hasPipeWireDaemon()
{
#ifdef TAMSEL_PIPEWIRE
    return pipeWireAccess() == InputAccess::readable;
#else
    return false;
#endif
}

} // namespace tamsel::host
