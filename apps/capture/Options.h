#pragma once

#include <tamsel/camera/CameraConfiguration.h>
#include <tamsel/platform/UIDevice.h>

#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tamsel::capture {

enum class Backend : std::uint8_t { host, simulated };
enum class Command : std::uint8_t { help, devices, frames };

/// What the command line asks for.
struct Options {
    Backend backend = Backend::host;
    std::optional<std::string> back;
    std::optional<std::string> front;
    CameraConfiguration::SessionPreset preset = CameraConfiguration::SessionPreset::photo;
    platform::UIDeviceOrientation deviceOrientation = platform::UIDeviceOrientation::portrait;
    platform::UIInterfaceOrientation interfaceOrientation = platform::UIInterfaceOrientation::portrait;
    bool json = false;
    std::string outputFolder = ".";

    Command command = Command::help;
    bool useFrontCamera = false;
    std::optional<std::uint64_t> count;
    std::optional<double> seconds;
    std::optional<std::uint64_t> saveEvery;
    std::optional<std::string> contactSheet;
};

/// Without the program's name. The error is one line that says what is wrong.
[[nodiscard]] std::expected<Options, std::string> parseOptions(std::span<const char* const> arguments);

[[nodiscard]] std::string_view helpText();

} // namespace tamsel::capture
