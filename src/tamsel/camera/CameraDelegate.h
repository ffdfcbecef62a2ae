#pragma once

#include <tamsel/camera/CameraError.h>
#include <tamsel/platform/AVMetadataObject.h>
#include <tamsel/platform/CMSampleBuffer.h>
#include <tamsel/platform/core/OvriImage.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel {

/// Receives the events of a camera. Calls come on the camera's queues or the main queue.
class CameraDelegate {
public:
    virtual ~CameraDelegate() = default;

    /// A live frame; the transform is absent for a camera.
    virtual void didOutputSampleBuffer(std::shared_ptr<platform::CMSampleBuffer> sampleBuffer,
        std::optional<platform::CGAffineTransform> preferredTransform)
        = 0;
    /// The file of a still, with the source of the request.
    virtual void didCapturePhoto(std::vector<std::byte> data, platform::OvriImageSource source) = 0;
    /// A recording has ended. Its file is complete, or does not exist.
    virtual void didRecordVideo(std::filesystem::path url) = 0;
    /// The error has already been reported to the product.
    virtual void didFail(CameraError error) = 0;
    /// The session starts again because the application has returned to the foreground.
    virtual void cameraDidResume() = 0;
    /// The session stops because the application went to the background.
    virtual void cameraDidSuspend() = 0;
    /// The objects that were detected in one frame.
    virtual void didOutputMetadataObjects(platform::AVMetadataObjects objects) = 0;
};

} // namespace tamsel
