#pragma once

#include "options/OptionGroups.h"

#include <tamsel/camera/CameraConfiguration.h>
#include <tamsel/facade/types/SourceType.h>
#include <tamsel/platform/UIApplication.h>
#include <tamsel/platform/UIDevice.h>

#include <host/location/HostLocationSource.h>

#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tamsel::capture {

enum class Backend : std::uint8_t { host, simulated };
enum class Command : std::uint8_t {
    help,
    devices,
    frames,
    motion,
    asset,
    assetStill,
    thumbnail,
    image,
    still,
    record,
    repair,
    album,
    detect,
    status,
    capture
};

/// What the command line asks for.
struct Options {
    Backend backend = Backend::host;
    std::optional<std::string> back;
    std::optional<std::string> front;
    std::optional<CameraConfiguration::SessionPreset> preset;
    platform::UIDeviceOrientation deviceOrientation = platform::UIDeviceOrientation::portrait;
    platform::UIInterfaceOrientation interfaceOrientation = platform::UIInterfaceOrientation::portrait;
    /// Of all cameras. Absent: portrait, or what the file says in which detection looks.
    std::optional<platform::AVCaptureVideoOrientation> sensorOrientation;
    bool json = false;
    std::string outputFolder = ".";

    Command command = Command::help;
    bool useFrontCamera = false;
    std::optional<std::uint64_t> count;
    std::optional<double> seconds;
    std::optional<std::uint64_t> saveEvery;
    std::optional<std::string> contactSheet;
    MotionOptions motion;
    StillOptions still;
    RecordOptions record;
    DetectOptions detect;
    CaptureOptions capture;
    std::optional<host::HostLocationSource> location;
    std::optional<std::int64_t> orientation; ///< of a picture, 1 to 8
    std::string file; ///< a recording, a picture, or what detection looks at
    std::string outputFile;
    bool fast = false;

    /// What depends on nothing real needs no real clock.
    [[nodiscard]] bool isOnVirtualTime() const
    {
        return backend == Backend::simulated || (command == Command::motion && motion.log && !motion.realTime)
            || (command == Command::asset && fast);
    }
    /// The camera's best for video where it does nothing but record, else its largest format.
    [[nodiscard]] CameraConfiguration::SessionPreset sessionPreset() const
    {
        using Preset = CameraConfiguration::SessionPreset;
        return preset.value_or(command == Command::record ? Preset::none : Preset::photo);
    }
    [[nodiscard]] bool records() const
    {
        return command == Command::record || (command == Command::capture && capture.records);
    }
    /// The camera that is asked for, recording where the command does.
    [[nodiscard]] SourceType source() const
    {
        return useFrontCamera ? SourceType::cameraFront(records()) : SourceType::cameraBack(records());
    }
    [[nodiscard]] bool needsCameras() const
    {
        return command == Command::devices || command == Command::frames || command == Command::still
            || command == Command::record || command == Command::detect || command == Command::status
            || command == Command::capture;
    }
};

/// Without the program's name. The error is one line that says what is wrong.
[[nodiscard]] std::expected<Options, std::string> parseOptions(std::span<const char* const> arguments);

[[nodiscard]] std::string_view helpText();

} // namespace tamsel::capture
