#include <host/pipewire/PipeWireNode.h>

#include <engine/capture/turnPixels.h>

#include <pipewire/keys.h>
#include <spa/utils/dict.h>

#include <algorithm>
#include <charconv>
#include <string_view>

namespace tamsel::host {

using platform::AVCaptureDevicePosition;

namespace {

constexpr std::string_view v4l2Prefix = "v4l2:";

/// The correction of the pictures, counter-clockwise, in degrees.
std::optional<platform::AVCaptureVideoOrientation> mountingOf(std::string_view rotation)
{
    int degrees = 0;
    const char* end = rotation.data() + rotation.size();
    if (const auto [rest, error] = std::from_chars(rotation.data(), end, degrees);
        error != std::errc() || rest != end || degrees % 90 != 0)
        return std::nullopt;
    return engine::sensorUprightAfter((4 - degrees / 90 % 4) % 4);
}

} // namespace

void PipeWireNode::describe(const spa_dict& properties)
{
    const auto find = [&](const char* key) {
        const char* value = spa_dict_lookup(&properties, key);
        return std::string_view(value ? value : "");
    };
    const auto take = [&](std::string& member, const char* key) {
        if (const std::string_view value = find(key); !value.empty())
            member = value;
    };
    take(serial, PW_KEY_OBJECT_SERIAL);
    take(name, PW_KEY_NODE_NAME);
    take(title, PW_KEY_NODE_DESCRIPTION);
    take(v4l2Path, "api.v4l2.path");
    if (const std::string_view path = find(PW_KEY_OBJECT_PATH);
        v4l2Path.empty() && path.starts_with(v4l2Prefix))
        v4l2Path = path.substr(v4l2Prefix.size());
    if (const std::string_view location = find("api.libcamera.location"); location == "front")
        position = AVCaptureDevicePosition::front;
    else if (location == "back")
        position = AVCaptureDevicePosition::back;
    if (const std::string_view rotation = find("api.libcamera.rotation"); !rotation.empty())
        sensorOrientation = mountingOf(rotation);
}

std::optional<PipeWireNode> findNode(
    const std::vector<PipeWireNode>& nodes, const std::string& name, AVCaptureDevicePosition position)
{
    const auto found = name.empty() ? std::ranges::max_element(nodes, {},
                                          [&](const PipeWireNode& node) {
                                              return node.position == position ? 2 : node.position ? 0 : 1;
                                          })
                                    : std::ranges::find_if(nodes, [&](const PipeWireNode& node) {
                                          return node.name == name || node.serial == name;
                                      });
    return found == nodes.end() ? std::nullopt : std::optional(*found);
}

} // namespace tamsel::host
