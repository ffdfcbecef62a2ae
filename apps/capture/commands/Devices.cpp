#include "commands/commands.h"

#include "Environment.h"
#include "cameraInputs.h"
#include "otherCameras.h"
#include "report/Utf8.h"

#include <array>
#include <cstdio>

namespace tamsel::capture {

namespace {

std::string_view name(platform::AVCaptureDevicePosition position)
{
    return position == platform::AVCaptureDevicePosition::front ? "front" : "back";
}

ExitStatus listDevices(const GlobalOptions& global)
{
    const auto environment = makeEnvironment(global, {.cameras = true, .asksForCamera = false});
    Console console(global.json);
    console.write("Position  Type        Size          Name");
    for (const auto& camera : environment->cameras()) {
        const platform::CGSize size
            = camera->activeFormat().presentationDimensions.value_or(platform::CGSize{});
        const bool isPattern = !global.back && camera->localizedName() == defaultPattern
            && camera->position() == platform::AVCaptureDevicePosition::back;
        Json device{{"position", name(camera->position())}, {"type", "builtInWideAngleCamera"},
            {"name", camera->localizedName()}, {"width", numberOf(size.width)},
            {"height", numberOf(size.height)}};
        if (isPattern)
            device["testPattern"] = true;
        console.writeEvent("device", device);
        std::array<char, 80> text{};
        std::snprintf(text.data(), text.size(), "%-9s %-11s %-13s ", name(camera->position()).data(),
            "wide angle",
            (std::to_string(static_cast<int>(size.width)) + " x "
                + std::to_string(static_cast<int>(size.height)))
                .c_str());
        console.write(text.data() + camera->localizedName()
            + (isPattern ? " (a test pattern: there is no camera)" : ""));
    }
    for (const host::AvailableCamera& camera : otherCameras(global, *environment)) {
        console.writeEvent("device",
            {{"position", camera.position ? Json(name(*camera.position)) : Json(nullptr)},
                {"type", "builtInWideAngleCamera"}, {"name", camera.input}, {"title", camera.title},
                {"used", false}});
        console.write("-         wide angle  -             " + describe(camera));
    }
    return ExitStatus::done;
}

} // namespace

void addDevices(Program& program)
{
    addCommand(program, "devices", "list the cameras as a table",
        [&global = program.global] { return listDevices(global); });
}

} // namespace tamsel::capture
