#pragma once

#include "options/Options.h"

#include <host/HostConfiguration.h>
#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Platform.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::capture {

/// One of the back ends, and the signals of the program.
class Environment {
public:
    virtual ~Environment() = default;

    [[nodiscard]] virtual platform::Platform& platform() = 0;
    [[nodiscard]] virtual std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label) = 0;
    [[nodiscard]] virtual std::vector<std::shared_ptr<platform::AVCaptureDevice>> cameras() = 0;

    /// Reports changes of cameras, on the main queue. The cameras of the simulated back end do not change.
    virtual void observeCameras(host::CameraObserver observer) = 0;

    /// Why there is no location, in one line.
    [[nodiscard]] virtual std::string locationProblem() = 0;
    /// Whether one may still arrive.
    [[nodiscard]] virtual bool isLocationAwaited() = 0;

    /// What went wrong with the last recording, in one line; may be empty.
    [[nodiscard]] virtual std::string recordingProblem() = 0;

    /// Runs the main loop until the condition holds, which is evaluated after every item. SIGHUP, SIGINT and SIGTERM call
    /// `onInterrupt`; SIGUSR1 and SIGUSR2 send the application to the background and back; SIGQUIT writes the recording.
    virtual void runUntil(const std::function<bool()>& condition, const std::function<void()>& onInterrupt)
        = 0;
};

/// What the back camera is when --back names none and there is none.
enum class WithoutCamera : std::uint8_t {
    pattern, ///< a test pattern
    reportedPattern, ///< the same, reported with a line
    refuse,
    watch, ///< the first that comes; cameras need not exist yet
};

/// What a command needs from the back end, besides the global options.
struct Needs {
    bool cameras = false;
    WithoutCamera withoutCamera = WithoutCamera::pattern;
    bool waitsForCamera = false; ///< for the first one that comes, with `--back auto`
    bool usesFrontCamera = false;
    bool asksForCamera = true; ///< waits for the permission of the person, where that is needed
    bool playsOnce = false; ///< a camera that is a file
    bool isOnVirtualTime = false; ///< on both back ends
    bool isSilent = false; ///< suppresses the messages of the library
    bool reportsErrors = false; ///< itself; commands with cameras always do
    std::shared_ptr<const formats::MotionLog> motionLog = nullptr;
    std::optional<host::HostLocationSource> location = std::nullopt;
    std::optional<RecordOptions> recording = std::nullopt;
    std::shared_ptr<engine::FlightRecorder> recorder = nullptr;
    std::function<void()> writeRecording = nullptr; ///< on SIGQUIT
    std::optional<double> seconds
        = std::nullopt; ///< limit for opening an input, and for a camera or a permission that has to come
};

/// Finds and opens the inputs. Throws `Unusable` for one that cannot be used, and `Interrupted`.
[[nodiscard]] std::unique_ptr<Environment> makeEnvironment(const GlobalOptions& options, const Needs& needs);

} // namespace tamsel::capture
