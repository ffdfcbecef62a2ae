#include <tamsel/camera/VideoFrameHandler.h>

#include <utility>

namespace tamsel {

void VideoFrameHandler::captureOutputDidOutputSampleBuffer(
    std::shared_ptr<platform::CMSampleBuffer> sampleBuffer)
{
    if (!isActive() || !completion_) {
        sampleBuffer->settle(platform::FrameLedger::Outcome::gated);
        return;
    }
    completion_(std::move(sampleBuffer));
}

void VideoFrameHandler::captureOutputDidDropSampleBuffer(platform::CMSampleBuffer& sampleBuffer)
{
    if (!isActive() || !completion_) {
        sampleBuffer.settle(platform::FrameLedger::Outcome::gated);
        return;
    }
    sampleBuffer.settle(platform::FrameLedger::Outcome::dropped);
    completion_(CameraError::videoFrameError().reported("AVCaptureSession", platform_));
}

} // namespace tamsel
