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

/// Through which a camera reports. Calls come on the camera's queues or the main queue.
class CameraDelegate {
public:
    virtual ~CameraDelegate() = default;

    virtual void didOutputSampleBuffer(std::shared_ptr<platform::CMSampleBuffer> sampleBuffer,
        std::optional<platform::CGAffineTransform> preferredTransform)
        = 0;
    virtual void didCapturePhoto(std::vector<std::byte> data, platform::OvriImageSource source) = 0;
    virtual void didRecordVideo(std::filesystem::path url) = 0;
    /// The error has already been reported to the core library.
    virtual void didFail(CameraError error) = 0;
    virtual void cameraDidResume() = 0;
    virtual void cameraDidSuspend() = 0;
    virtual void didOutputMetadataObjects(platform::AVMetadataObjects objects) = 0;
};

} // namespace tamsel
