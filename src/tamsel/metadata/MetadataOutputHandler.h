#pragma once

#include <tamsel/platform/AVCaptureOutput.h>

#include <memory>
#include <utility>

namespace tamsel {

class Camera;
class CameraDelegate;

/// Passes batches of detected objects to the camera's delegate while both it and the camera exist.
class MetadataOutputHandler final : public platform::AVCaptureMetadataOutputObjectsDelegate {
public:
    MetadataOutputHandler(std::weak_ptr<CameraDelegate> delegate, std::weak_ptr<Camera> captureSessionHost)
        : delegate_(std::move(delegate)),
          captureSessionHost_(std::move(captureSessionHost))
    {
    }

    void captureOutputDidOutputMetadataObjects(const platform::AVMetadataObjects& objects) override;

private:
    std::weak_ptr<CameraDelegate> delegate_;
    std::weak_ptr<Camera> captureSessionHost_;
};

} // namespace tamsel
