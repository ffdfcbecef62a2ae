#pragma once

#include <tamsel/camera/CameraConfiguration.h>
#include <tamsel/client/CaptureCondition.h>
#include <tamsel/metadata/MetadataObjectType.h>
#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/AVCaptureOutput.h>
#include <tamsel/platform/UIDevice.h>

#include <host/location/HostLocationSource.h>

#include <engine/motion/MotionLog.h>

#include <algorithm>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

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

/// What the command line asks of motion detection.
struct MotionOptions {
    std::optional<std::string> logFile;
    std::shared_ptr<const engine::MotionLog> log; ///< what the file says
    bool useSensors = false; ///< of the machine, in place of a log
    bool stability = false;
    bool facingAngle = false;
    double threshold = 0.3; ///< radians per second
    double duration = 0.8; ///< seconds
    double angle = 45; ///< degrees
    bool realTime = false;
    std::optional<std::string> plot;
};

/// What the command line asks of a still; what it leaves open is left to the product's settings.
struct StillOptions {
    bool isSilent = false;
    std::optional<platform::AVCaptureFlashMode> flash;
    std::optional<platform::AVCaptureTorchMode> torch;
};

/// What the command line asks of a recording.
struct RecordOptions {
    std::optional<std::string> microphone; ///< absent: the sound of the camera's own file
    bool isSilent = false;
    bool overwrites = false;
    std::vector<std::string> encoders; ///< empty: the best that is there
};

/// What is to be found in a picture, a video or before a camera.
struct DetectOptions {
    std::vector<MetadataObjectType> kinds; ///< of codes, and faces
    std::optional<std::string> annotated; ///< a picture with what was found
    /// Of the input, as far as it says so.
    platform::AVCaptureVideoOrientation sensorOrientation = platform::AVCaptureVideoOrientation::portrait;

    [[nodiscard]] bool asksForCodes() const
    {
        return std::ranges::any_of(
            kinds, [](MetadataObjectType kind) { return kind != MetadataObjectType::face; });
    }
    [[nodiscard]] bool asksForFaces() const
    {
        return std::ranges::any_of(
            kinds, [](MetadataObjectType kind) { return kind == MetadataObjectType::face; });
    }
};

/// What is waited for before a still is taken, and what is kept beside it.
struct CaptureOptions {
    std::vector<CaptureCondition> conditions{CaptureCondition::still(), CaptureCondition::tilted()};
    double timeout = 30; ///< seconds
    bool looksForFaces = false;
    bool records = false;
    bool overwrites = false;
    std::string folder;

    [[nodiscard]] bool waitsFor(CaptureCondition::Kind kind) const
    {
        return std::ranges::find(conditions, kind, &CaptureCondition::kind) != conditions.end();
    }
    /// What is looked for: codes of all kinds, since outlines of others help, too.
    [[nodiscard]] std::vector<MetadataObjectType> kinds() const
    {
        std::vector<MetadataObjectType> kinds = allBarcodes();
        if (looksForFaces || waitsFor(CaptureCondition::Kind::face))
            kinds.emplace_back(MetadataObjectType::face);
        return kinds;
    }
    [[nodiscard]] bool needsMotion() const
    {
        return waitsFor(CaptureCondition::Kind::still) || waitsFor(CaptureCondition::Kind::tilted);
    }
};

/// What the command line asks for.
struct Options {
    Backend backend = Backend::host;
    std::optional<std::string> back;
    std::optional<std::string> front;
    std::optional<CameraConfiguration::SessionPreset> preset;
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
