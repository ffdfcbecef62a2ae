#pragma once

#include <host/location/HostLocationSource.h>
#include <host/recording/HostMovieWriter.h>
#include <host/v4l2/V4L2Calls.h>

#include <engine/capture/CameraDriver.h>
#include <engine/dispatch/EventSource.h>
#include <formats/MotionLog.h>

#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/AVCaptureOutput.h>
#include <tamsel/platform/Geometry.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A Linux machine: its cameras, files, sensors and codecs.
namespace tamsel::host {

/// One camera of the host: where its frames come from, and what is known about its lens.
struct HostInput {
    /// A video file, played in a loop at its own pace; a V4L2 device node; a URL or "device:argument" of the FFmpeg
    /// libraries ("rtsp://…", "lavfi:testsrc2"); or a test pattern ("test:720p", "test:1080p", "test:640x480@60").
    std::string input;
    /// Makes a driver of the program's own, which serves this camera instead of `input`; the members that follow do not
    /// count then. The driver describes itself, with the position of this camera. Called once, in the constructor of the
    /// host; what the driver waits through lives as long as the driver may use it, which is until the host stops it.
    std::function<std::shared_ptr<engine::CameraDriver>(engine::EventSources&)> makeDriver = nullptr;
    /// The way up of the pixels as they are stored. A file's own display matrix is not looked at.
    platform::AVCaptureVideoOrientation sensorOrientation = platform::AVCaptureVideoOrientation::portrait;
    float videoFieldOfView = 60; ///< degrees
    int minimumFocusDistance = -1; ///< millimetres; -1 when unknown; no camera of the host zooms for it
    /// Pixels, for whoever asks before the input has been opened.
    std::optional<platform::CGSize> presentationDimensions = std::nullopt;
    /// Absent when it is not known.
    std::shared_ptr<const platform::CameraIntrinsicMatrix> intrinsicMatrix = nullptr;
    /// Whether a file begins anew at its end; otherwise the device is lost then.
    bool repeats = true;
};

/// Everything that a person can plug into the host.
struct HostConfiguration {
    std::optional<HostInput> backCamera = std::nullopt;
    std::optional<HostInput> frontCamera = std::nullopt;

    /// What is heard in recordings: a file with sound, played in a loop, and together with its picture where a camera shows
    /// the same file; a device of the FFmpeg libraries ("alsa:default", "pulse:default"); a URL; or "test:tone[@HERTZ]",
    /// "test:beeps". Absent: nothing is.
    std::optional<std::string> microphone = std::nullopt;

    /// Encoders of the FFmpeg libraries for recordings: the first that works is taken.
    std::vector<std::string> videoEncoders = HostMovieWriters::defaultEncoders();

    /// What motion sensors have recorded, replayed in real time from the moment when the first stream starts. Without it
    /// there are no motion services.
    std::shared_ptr<const formats::MotionLog> motionLog = nullptr;

    /// Where the machine is and where it points to; by default nobody knows.
    HostLocationSource location = {};

    /// A policy that stands above what the inputs say. Without it video is authorised when a camera is readable, and
    /// denied when cameras are there and none of them is.
    std::optional<platform::AVAuthorizationStatus> videoAuthorization = std::nullopt;
    platform::AVAuthorizationStatus audioAuthorization = platform::AVAuthorizationStatus::authorized;

    std::string systemVersion = "16.4";
    std::string model = "Linux";
    /// Frame buffers of each session.
    std::size_t bufferCount = 10;

    /// What V4L2 devices are used through; for tests, which have none.
    V4L2Calls systemCalls = systemV4L2Calls();

    /// Receives each diagnostic line; by default the standard output. Called on any thread, one at a time.
    std::function<void(std::string_view)> writeLine = nullptr;
    /// Receives each report to the core library as one line; by default the standard error stream.
    std::function<void(std::string_view)> writeReport = nullptr;
};

} // namespace tamsel::host
