#pragma once

#include <tamsel/camera/CameraConfiguration.h>
#include <tamsel/facade/types/SourceType.h>
#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/AVCaptureOutput.h>
#include <tamsel/platform/UIApplication.h>
#include <tamsel/platform/UIDevice.h>

#include <host/location/HostLocationSource.h>

#include <formats/MotionLog.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

// The values of the options, by topic, and the options that several commands share.

namespace tamsel::capture {

enum class Backend : std::uint8_t { host, simulated };

/// The options of all commands.
struct GlobalOptions {
    using Preset = CameraConfiguration::SessionPreset;

    Backend backend = Backend::host;
    std::optional<std::string> back;
    std::optional<std::string> front;
    std::optional<Preset> preset;
    std::optional<platform::UIDeviceOrientation> deviceOrientation; ///< absent: what the machine says
    platform::UIInterfaceOrientation interfaceOrientation = platform::UIInterfaceOrientation::portrait;
    /// Of all cameras. Absent: portrait, or that of a video file.
    std::optional<platform::AVCaptureVideoOrientation> sensorOrientation;
    std::optional<double> minimumFocusDistance; ///< of all cameras, in millimetres
    std::optional<double> minimumObjectSize; ///< in millimetres
    bool json = false;
    bool overwrites = false;
    std::string outputFolder = ".";

    [[nodiscard]] Preset sessionPreset() const { return preset.value_or(Preset::photo); }
    [[nodiscard]] bool isSimulated() const { return backend == Backend::simulated; }
    /// Throws `Unusable` on the simulated back end, with the reason.
    void requireHost(const std::string& reason) const;
};

/// As on the command line.
[[nodiscard]] std::string_view nameOf(platform::UIDeviceOrientation orientation);

void addGlobalOptions(CLI::App& app, GlobalOptions& options);

/// Which camera, `--camera`.
void addCamera(CLI::App& app, bool& usesFrontCamera);

[[nodiscard]] inline SourceType cameraSource(bool isFront, bool records)
{
    return isFront ? SourceType::cameraFront(records) : SourceType::cameraBack(records);
}

/// Which frames are saved as pictures.
struct FramePictures {
    std::optional<std::uint64_t> saveEvery = std::nullopt;
    std::string folder = {}; ///< for the saved frames
    std::optional<std::string> contactSheet = std::nullopt;
};

void addFramePictures(CLI::App& app, FramePictures& pictures);

/// The motion log and the parameters of the verdicts.
struct MotionOptions {
    std::optional<std::string> logFile;
    std::shared_ptr<const formats::MotionLog> log; ///< the contents of the file
    bool stability = false;
    bool facingAngle = false;
    double threshold = 0.3; ///< radians per second
    double duration = 0.8; ///< seconds
    double angle = 45; ///< degrees

    /// Without a log, or with the word "sensors" for one.
    [[nodiscard]] bool usesSensors() const { return !logFile || *logFile == "sensors"; }
    /// Reads the log, if one is named. Throws `Unusable`.
    void readLog();
};

void addVerdictOptions(CLI::App& app, MotionOptions& motion);

/// The options of a still; absent values are those of the library.
struct StillOptions {
    bool usesFrontCamera = false;
    std::optional<host::HostLocationSource> location;
    bool isSilent = false;
    std::optional<platform::AVCaptureFlashMode> flash;
    std::optional<platform::AVCaptureTorchMode> torch;
};

void addStillOptions(CLI::App& app, StillOptions& still);

/// The options of a recording.
struct RecordOptions {
    std::optional<std::string> microphone; ///< absent: the sound of the camera's own file
    bool isSilent = false;
    std::vector<std::string> encoders; ///< empty: the best available
};

void addMicrophone(CLI::App& app, RecordOptions& record);

/// What is written of a session for a replay or a viewer.
struct RecorderOptions {
    std::optional<std::string> recording;
    std::optional<std::string> trace;
};

void addRecorder(CLI::App& app, RecorderOptions& recorder);

} // namespace tamsel::capture
