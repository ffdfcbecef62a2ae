#pragma once

#include <host/HostInput.h>
#include <host/bus/FollowedEvents.h>
#include <host/location/HostLocationSource.h>
#include <host/recording/HostMovieWriter.h>
#include <host/v4l2/V4L2Calls.h>

#include <formats/MotionLog.h>

#include <tamsel/platform/AVCaptureDevice.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::engine {
class FlightRecorder;
}

/// A Linux machine: its cameras, files, sensors and codecs.
namespace tamsel::host {

/// A camera of the configuration that has appeared or disappeared, or whose permission has changed.
struct CameraChange {
    platform::AVCaptureDevicePosition position;
    std::string name;
    bool isPresent;
    bool isPermitted; ///< for this process; a new device node often permits nothing for a moment
};
/// Called for each change, on the main queue.
using CameraObserver = std::function<void(const CameraChange&)>;

/// Who permits the use of cameras, besides the access rights of their files and device nodes.
enum class PermissionSource : std::uint8_t {
    /// The person, when a camera is one of PipeWire, or a device node and the program runs in a sandbox (Flatpak, Snap); else
    /// nobody.
    automatic,
    inputs, ///< nobody
    /// The person at the machine, through the camera portal of the desktop. Where there is none, nobody.
    person,
};

/// The inputs and settings of the host.
struct HostConfiguration {
    std::optional<HostInput> backCamera = std::nullopt;
    std::optional<HostInput> frontCamera = std::nullopt;

    /// The sound of recordings: a file with sound, played in a loop, and in sync with its picture if a camera plays the
    /// same file; "pipewire:NODE", a source of the PipeWire daemon by its name or number, or "pipewire:" for the default one;
    /// a device of the FFmpeg libraries ("alsa:default", "pulse:default"); a URL; or "test:tone[@HERTZ]", "test:beeps".
    /// Absent: no sound.
    std::optional<std::string> microphone = std::nullopt;

    /// Encoders of the FFmpeg libraries for recordings: the first that works is used.
    std::vector<std::string> videoEncoders = HostMovieWriters::defaultEncoders();

    /// A log of motion sensors, replayed in real time from the start of the first stream. Without it the machine's own
    /// sensors are used.
    std::shared_ptr<const formats::MotionLog> motionLog = nullptr;

    /// The location and the heading of the machine; unknown by default.
    HostLocationSource location = {};

    /// How the machine is held, and when it sleeps or is locked.
    FollowedEvents followed = {};

    /// The video status is not determined until the person was asked (`Host::requestVideoAccess`).
    PermissionSource permission = PermissionSource::automatic;
    /// A policy that overrides the person and the inputs. Without it, and with the permission of the person if that is needed,
    /// video is authorised when a camera is readable, and denied when there are cameras and none is.
    std::optional<platform::AVAuthorizationStatus> videoAuthorization = std::nullopt;
    platform::AVAuthorizationStatus audioAuthorization = platform::AVAuthorizationStatus::authorized;

    std::string systemVersion = "16.4";
    std::string model = "Linux";
    /// Frame buffers of each session.
    std::size_t bufferCount = 10;

    /// The system calls for V4L2 devices; tests replace them.
    V4L2Calls systemCalls = systemV4L2Calls();

    /// Records what happens from the constructor of the host until its destructor; off by default.
    std::shared_ptr<engine::FlightRecorder> recorder = nullptr;

    /// Receives each diagnostic line; by default the standard output. Called on any thread, one at a time.
    std::function<void(std::string_view)> writeLine = nullptr;
    /// Receives each report to the product as one line; by default the standard error stream.
    std::function<void(std::string_view)> writeReport = nullptr;
};

} // namespace tamsel::host
