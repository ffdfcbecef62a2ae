#include <tamsel/facade/OvriSourceManagerRelay.h>

#include <tamsel/facade/tellDelegate.h>

#include <tamsel/platform/Platform.h>
#include <tamsel/platform/UIDevice.h>

#include <utility>

namespace tamsel {

using namespace platform;

namespace {

CGImagePropertyOrientation frameExifOrientation(UIDeviceOrientation orientation)
{
    switch (orientation) {
    case UIDeviceOrientation::portraitUpsideDown:
        return CGImagePropertyOrientation::rightMirrored;
    case UIDeviceOrientation::landscapeLeft:
        return CGImagePropertyOrientation::downMirrored;
    case UIDeviceOrientation::landscapeRight:
        return CGImagePropertyOrientation::upMirrored;
    default:
        return CGImagePropertyOrientation::leftMirrored;
    }
}

} // namespace

void OvriSourceManager::Relay::didOutputSampleBuffer(
    std::shared_ptr<CMSampleBuffer> sampleBuffer, std::optional<CGAffineTransform> preferredTransform)
{
    responseQueue_->handOver([weakManager = manager_, sampleBuffer = std::move(sampleBuffer),
                                 preferredTransform] {
        const std::shared_ptr<OvriSourceManager> manager = weakManager.lock();
        if (!manager || !sampleBuffer->imageBuffer())
            return;
        const OvriCaptureFrameUpdate frame(sampleBuffer->imageBuffer(), sampleBuffer->cameraIntrinsicMatrix(),
            frameExifOrientation(manager->platform_.device.orientation()), preferredTransform);
        if (const std::shared_ptr<OvriSourceToSession> delegate = manager->delegate()) {
            const FrameVisit visit(sampleBuffer->ticket());
            sampleBuffer->settle(FrameLedger::Outcome::delivered);
            tell(manager->platform_, *delegate,
                [&](OvriSourceToSession& receiver) { receiver.sourceManagerDidGetFrame(*manager, frame); });
        }
    });
}

void OvriSourceManager::Relay::didCapturePhoto(std::vector<std::byte> data, OvriImageSource source)
{
    responseQueue_->async([weakManager = manager_, data = std::move(data), source]() mutable {
        const std::shared_ptr<OvriSourceManager> manager = weakManager.lock();
        if (!manager)
            return;
        const auto sample = std::make_shared<CaptureSampleUpdate>(
            std::move(data), source, CGImagePropertyOrientation::right);
        if (const std::shared_ptr<OvriSourceToSession> delegate = manager->delegate())
            tell(manager->platform_, *delegate,
                [&](OvriSourceToSession& receiver) { receiver.sourceManagerDidGetSample(*manager, sample); });
    });
}

void OvriSourceManager::Relay::didRecordVideo(std::filesystem::path url)
{
    responseQueue_->async(whileAlive(manager_, [url = std::move(url)](OvriSourceManager& manager) {
        if (const std::shared_ptr<OvriSourceToSession> delegate = manager.delegate())
            tell(manager.platform_, *delegate,
                [&](OvriSourceToSession& receiver) { receiver.sourceManagerDidGetVideo(manager, url); });
    }));
}

void OvriSourceManager::Relay::didFail(CameraError error)
{
    responseQueue_->async(whileAlive(manager_, [error = std::move(error)](OvriSourceManager& manager) {
        if (const std::shared_ptr<OvriSourceToSession> delegate = manager.delegate())
            tell(manager.platform_, *delegate, [&](OvriSourceToSession& receiver) {
                receiver.sourceManagerDidGetSourceError(manager, error);
            });
    }));
}

void OvriSourceManager::Relay::cameraDidResume()
{
    responseQueue_->async(whileAlive(manager_, [](OvriSourceManager& manager) {
        if (const std::shared_ptr<OvriSourceToSession> delegate = manager.delegate())
            tell(manager.platform_, *delegate,
                [&](OvriSourceToSession& receiver) { receiver.sourceManagerCameraDidResume(manager); });
    }));
}

void OvriSourceManager::Relay::cameraDidSuspend()
{
    responseQueue_->async(whileAlive(manager_, [](OvriSourceManager& manager) {
        if (const std::shared_ptr<OvriSourceToSession> delegate = manager.delegate())
            tell(manager.platform_, *delegate,
                [&](OvriSourceToSession& receiver) { receiver.sourceManagerCameraDidSuspend(manager); });
    }));
}

void OvriSourceManager::Relay::didOutputMetadataObjects(AVMetadataObjects objects)
{
    responseQueue_->async(whileAlive(
        manager_, [objects = std::move(objects)](OvriSourceManager& manager) { manager.deliver(objects); }));
}

} // namespace tamsel
