#pragma once

#include <tamsel/camera/CameraDelegate.h>
#include <tamsel/facade/OvriSourceManager.h>

#include <memory>
#include <utility>

namespace tamsel {

/// Moves every event of a camera to the response queue. It holds the manager weakly, so the queues of the camera never
/// keep a manager alive.
class OvriSourceManager::Relay final : public CameraDelegate {
public:
    Relay(std::weak_ptr<OvriSourceManager> manager, std::shared_ptr<platform::DispatchQueue> responseQueue)
        : manager_(std::move(manager)),
          responseQueue_(std::move(responseQueue))
    {
    }

    void didOutputSampleBuffer(std::shared_ptr<platform::CMSampleBuffer> sampleBuffer,
        std::optional<platform::CGAffineTransform> preferredTransform) override;
    void didCapturePhoto(std::vector<std::byte> data, platform::OvriImageSource source) override;
    void didRecordVideo(std::filesystem::path url) override;
    void didFail(CameraError error) override;
    void cameraDidResume() override;
    void cameraDidSuspend() override;
    void didOutputMetadataObjects(platform::AVMetadataObjects objects) override;

private:
    std::weak_ptr<OvriSourceManager> manager_;
    std::shared_ptr<platform::DispatchQueue> responseQueue_;
};

} // namespace tamsel
