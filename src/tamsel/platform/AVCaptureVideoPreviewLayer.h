#pragma once

#include <tamsel/platform/AVCaptureConnection.h>
#include <tamsel/platform/CALayer.h>

#include <memory>

namespace tamsel::platform {

/// Shows the picture of a session, which it holds weakly. The layer's connection exists while the session has a camera.
class AVCaptureVideoPreviewLayer : public CALayer {
public:
    [[nodiscard]] virtual AVLayerVideoGravity videoGravity() const = 0;
    virtual void setVideoGravity(AVLayerVideoGravity gravity) = 0;
    /// Absent while the session has no camera, or is destroyed.
    [[nodiscard]] virtual std::shared_ptr<AVCaptureConnection> connection() const = 0;
};

} // namespace tamsel::platform
