#pragma once

#include <engine/capture/CameraDriver.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/AVCaptureConnection.h>
#include <tamsel/platform/Geometry.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tamsel::host {

/// One camera of the host: the source of its frames, and the properties of its lens.
struct HostInput {
    /// A video file, played in a loop at its own pace; a V4L2 device node, or "auto" for the first that captures when the
    /// camera is opened; "pipewire:NODE", a camera of the PipeWire daemon by its name, or "pipewire:" for the first; a URL or "device:argument" of the FFmpeg libraries ("rtsp://…", "lavfi:testsrc2"); or a test
    /// pattern ("test:720p", "test:1080p", "test:640x480@60").
    std::string input;
    /// Makes a driver of the program for this camera, instead of `input`; the members below are ignored then. The
    /// driver's own description counts, with the position of this camera. Called once, in the constructor of the host;
    /// the event sources outlive the driver.
    std::function<std::shared_ptr<engine::CameraDriver>(engine::EventSources&)> makeDriver = nullptr;
    /// The orientation of the stored pixels. Absent: that of the camera, where PipeWire knows it, else portrait. A file's own
    /// display matrix is ignored.
    std::optional<platform::AVCaptureVideoOrientation> sensorOrientation = std::nullopt;
    float videoFieldOfView = 60; ///< degrees
    int minimumFocusDistance = -1; ///< millimetres; -1 when unknown: then no session zooms for it
    /// Pixels, until the input has been opened.
    std::optional<platform::CGSize> presentationDimensions = std::nullopt;
    /// Absent when it is unknown.
    std::shared_ptr<const platform::CameraIntrinsicMatrix> intrinsicMatrix = nullptr;
    /// Whether a file starts again at its end; otherwise the device is lost then.
    bool repeats = true;
};

} // namespace tamsel::host
