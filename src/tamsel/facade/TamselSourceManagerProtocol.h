#pragma once

#include <tamsel/camera/CameraError.h>
#include <tamsel/facade/types/OvriSourceToSession.h>
#include <tamsel/facade/types/SourceType.h>
#include <tamsel/platform/CALayer.h>

#include <any>
#include <expected>
#include <map>
#include <memory>
#include <string>

namespace tamsel {

/// Options of a session. A key counts only when its value is a `double`; unknown keys are ignored.
using Configurations = std::map<std::string, std::any>;

/// What a client can ask of a source manager. Every operation may be called at any time, on the client's thread,
/// and waits for no device, queue or other thread.
class TamselSourceManagerProtocol {
public:
    virtual ~TamselSourceManagerProtocol() = default;

    /// Starts the source; results go to the delegate, which is held weakly (an empty one clears it). Fails only for a
    /// camera, with `noPermission` or `cameraRestricted`; every other failure comes to the delegate.
    /// The view shows the preview of a camera; without one there is no preview.
    virtual std::expected<void, CameraError> startSession(const SourceType& type,
        std::weak_ptr<OvriSourceToSession> delegate, const Configurations& configurations,
        std::shared_ptr<platform::UIView> previewView)
        = 0;
    /// Stops the running camera for good. A camera that is not running is left as it is.
    virtual void stopCameraSession() = 0;
    /// `stopCameraSession`, and the end of both motion verdicts.
    virtual void stopAllSessions() = 0;
    /// Goes on after `pauseCamera`.
    virtual void resumeCamera() = 0;
    /// Stops the camera so that `resumeCamera` can go on with it.
    virtual void pauseCamera() = 0;
};

} // namespace tamsel
