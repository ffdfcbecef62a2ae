#pragma once

#include "options/Options.h"

#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Platform.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::capture {

/// Where the program runs: one of the back ends, and the signals that reach the program.
class Environment {
public:
    virtual ~Environment() = default;

    [[nodiscard]] virtual platform::Platform& platform() = 0;
    [[nodiscard]] virtual std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label) = 0;
    [[nodiscard]] virtual std::vector<std::shared_ptr<platform::AVCaptureDevice>> cameras() = 0;

    /// Why there is no location, in one line.
    [[nodiscard]] virtual std::string locationProblem() = 0;
    /// Whether one may still come.
    [[nodiscard]] virtual bool isLocationAwaited() = 0;

    /// Why the last recording is not what was asked for, in one line; empty when nothing is wrong.
    [[nodiscard]] virtual std::string recordingProblem() = 0;

    /// Runs the main loop until the condition holds. Signals reach `onInterrupt` (SIGINT, SIGTERM), or send the
    /// application to the background and back (SIGUSR1, SIGUSR2). The condition is asked after everything that the main
    /// loop ran.
    virtual void runUntil(const std::function<bool()>& condition, const std::function<void()>& onInterrupt)
        = 0;
};

/// What a command needs of the back end, besides what the global options say.
struct Needs {
    bool cameras = false;
    bool usesFrontCamera = false;
    bool playsOnce = false; ///< a camera that is a file
    bool isOnVirtualTime = false; ///< on both back ends: nothing real takes part
    bool isSilent = false; ///< the command says itself what the library would say
    std::shared_ptr<const formats::MotionLog> motionLog = nullptr;
    std::optional<host::HostLocationSource> location = std::nullopt;
    std::optional<RecordOptions> recording = std::nullopt;
    std::optional<double> seconds = std::nullopt; ///< an input may take so long to open at most
};

/// Opens what is needed. Throws `Unusable` for an input that cannot be used.
[[nodiscard]] std::unique_ptr<Environment> makeEnvironment(const GlobalOptions& options, const Needs& needs);

/// The input of the back camera: the one that is named, else the first V4L2 camera, else absent.
[[nodiscard]] std::optional<std::string> backInput(const GlobalOptions& options);

/// What stands in for a camera where there is none.
inline constexpr const char* defaultPattern = "test:720p";

} // namespace tamsel::capture
