#pragma once

#include <tamsel/camera/CameraError.h>
#include <tamsel/facade/types/CaptureSampleUpdate.h>
#include <tamsel/facade/types/OvriCaptureFrameUpdate.h>
#include <tamsel/motion/MotionHelperError.h>

#include <filesystem>
#include <memory>
#include <variant>

namespace tamsel {

class OvriSourceManager;

/// Why a running source failed.
using SourceError = std::variant<CameraError, MotionHelperError>;

/// Receives images and failures of a session.
/// Held weakly by the manager and called on its response queue, never inside a public operation. Override what you need.
class OvriSourceToSession {
public:
    virtual ~OvriSourceToSession() = default;

    /// Not called by any operation of this library.
    virtual void sourceManagerDidGetSourceUpdate(
        OvriSourceManager& /*manager*/, const platform::OvriImage& /*image*/)
    {
    }
    /// One live camera frame or one frame of a recorded video.
    virtual void sourceManagerDidGetFrame(
        OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& /*frame*/)
    {
    }
    /// One still image.
    virtual void sourceManagerDidGetSample(
        OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& /*sample*/)
    {
    }
    /// A recording has been finished and written to this file.
    virtual void sourceManagerDidGetVideo(
        OvriSourceManager& /*manager*/, const std::filesystem::path& /*url*/)
    {
    }
    /// A running source failed: `videoFrameError` is one dropped frame, and the session continues unless the device
    /// itself was lost.
    virtual void sourceManagerDidGetSourceError(OvriSourceManager& /*manager*/, const SourceError& /*error*/)
    {
    }
    /// The session has stopped because the application went to the background.
    virtual void sourceManagerCameraDidSuspend(OvriSourceManager& /*manager*/) { }
    /// The session runs again because the application has returned to the foreground.
    virtual void sourceManagerCameraDidResume(OvriSourceManager& /*manager*/) { }
};

} // namespace tamsel
