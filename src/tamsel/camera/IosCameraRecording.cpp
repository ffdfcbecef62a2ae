// The camera's recordings.

#include <tamsel/camera/IosCamera.h>

#include <tamsel/platform/Platform.h>

#include <utility>

namespace tamsel {

using namespace platform;

void IosCamera::startVideoRecording(std::filesystem::path url)
{
    sessionQueue_->async(whileAlive(weak_from_this(), [url = std::move(url)](IosCamera& self) mutable {
        if (self.isReadyToRecord() && self.movieFileOutput_)
            self.movieFileOutput_->startRecording(std::move(url), self.weak_from_this());
    }));
}

void IosCamera::stopVideoRecording()
{
    sessionQueue_->async(whileAlive(weak_from_this(), [](IosCamera& self) {
        if (self.isReadyToRecord() && self.movieFileOutput_)
            self.movieFileOutput_->stopRecording();
    }));
}

/// False, after reporting a failure, when the session does not run.
bool IosCamera::isReadyToRecord() const
{
    sessionQueue_->assertCurrent();
    if (captureSession_->isRunning())
        return true;
    if (const std::shared_ptr<CameraDelegate> delegate = this->delegate())
        delegate->didFail(
            CameraError::captureImageFailed().reported("AVCaptureSession is no running", platform_));
    return false;
}

/// A failed recording is delivered like any other: the file contains what could be recorded.
void IosCamera::captureOutputDidFinishRecording(
    const std::filesystem::path& url, const std::optional<Error>& /*error*/)
{
    sessionQueue_->async(
        whileAlive(weak_from_this(), [url = std::filesystem::path(url)](IosCamera& self) mutable {
            if (const std::shared_ptr<CameraDelegate> delegate = self.delegate())
                delegate->didRecordVideo(std::move(url));
        }));
}

} // namespace tamsel
