#include <tamsel/camera/PhotoCaptureProcessor.h>

#include <tamsel/platform/AudioServices.h>
#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/UIDevice.h>
#include <tamsel/platform/debugDescription.h>

#include <string>
#include <variant>

namespace tamsel {

using namespace platform;

namespace {

constexpr SystemSoundID shutterSound = 1108;

} // namespace

void PhotoCaptureProcessor::captureOutputWillBeginCapture(const AVCaptureResolvedPhotoSettings& /*settings*/)
{
}

void PhotoCaptureProcessor::captureOutputWillCapturePhoto(const AVCaptureResolvedPhotoSettings& /*settings*/)
{
    disposeShutterSound();
}

void PhotoCaptureProcessor::captureOutputDidCapturePhoto(const AVCaptureResolvedPhotoSettings& /*settings*/)
{
    disposeShutterSound();
}

void PhotoCaptureProcessor::disposeShutterSound()
{
    if (std::holds_alternative<TamselCameraSettings::Silent>(cameraCaptureSound_))
        platform_.audio.disposeSystemSoundID(shutterSound);
}

void PhotoCaptureProcessor::captureOutputDidFinishProcessingPhoto(
    const AVCapturePhoto& photo, const std::optional<Error>& error)
{
    if (error) {
        writeError(*error);
        return;
    }
    if (!isSystemVersionAtLeast(platform_.device, 12, 0)) {
        photoData_ = photo.fileDataRepresentation();
        return;
    }
    OvriLocationMetadataDelegate customizer(cameraModel_, platform_);
    photoData_ = photo.fileDataRepresentation(customizer);
}

void PhotoCaptureProcessor::captureOutputDidFinishCapture(
    const AVCaptureResolvedPhotoSettings& /*settings*/, const std::optional<Error>& error)
{
    if (error)
        writeError(*error);
    if (!photoData_)
        platform_.diagnostics.writeLine(debugDescription("No photo data resource"));
    completionHandler_(shared_from_this());
}

void PhotoCaptureProcessor::writeError(const Error& error)
{
    platform_.diagnostics.writeLine(debugDescription("error in capturing: " + error.localizedDescription));
}

} // namespace tamsel
