#include <engine/capture/Capture.h>

#include <engine/capture/CaptureContext.h>
#include <engine/capture/CaptureSession.h>
#include <engine/capture/MetadataOutput.h>
#include <engine/capture/MicrophoneDevice.h>
#include <engine/capture/MovieFileOutput.h>
#include <engine/capture/PhotoOutput.h>
#include <engine/capture/PreviewLayer.h>
#include <engine/capture/VideoDataOutput.h>

#include <string>
#include <utility>

namespace tamsel::engine {

using namespace platform;

namespace {

std::string_view name(AVCaptureDeviceType type)
{
    switch (type) {
    case AVCaptureDeviceType::builtInWideAngleCamera:
        return "wideAngle";
    case AVCaptureDeviceType::builtInDualWideCamera:
        return "dualWide";
    case AVCaptureDeviceType::builtInTripleCamera:
        return "triple";
    case AVCaptureDeviceType::builtInMicrophone:
        return "microphone";
    }
    return {};
}

std::string_view name(AVCaptureDevicePosition position)
{
    switch (position) {
    case AVCaptureDevicePosition::unspecified:
        return "unspecified";
    case AVCaptureDevicePosition::back:
        return "back";
    case AVCaptureDevicePosition::front:
        return "front";
    }
    return {};
}

} // namespace

Capture::Capture(CaptureConfiguration configuration)
    : context_(std::make_shared<CaptureContext>(
          std::move(configuration), decltype(CaptureContext::cameras){}, nullptr))
{
    const CaptureConfiguration& given = context_->configuration;
    for (const std::shared_ptr<CameraDriver>& driver : given.cameras)
        context_->cameras.push_back(
            std::make_shared<CameraDevice>(driver, given.hook, given.makeOperationLock()));
    if (given.microphone)
        context_->microphone = std::make_shared<MicrophoneDevice>(given.microphone);
}

Capture::~Capture() = default;

AVAuthorizationStatus Capture::authorizationStatus(AVMediaType mediaType) const
{
    context_->hook().called(
        CaptureCall::authorizationStatus, mediaType == AVMediaType::video ? "video" : "audio");
    return context_->configuration.authorization(mediaType);
}

std::shared_ptr<AVCaptureDevice> Capture::defaultDevice(
    AVCaptureDeviceType type, AVMediaType mediaType, AVCaptureDevicePosition position)
{
    context_->hook().called(
        CaptureCall::defaultDevice, std::string(name(type)) + " " + std::string(name(position)));
    if (mediaType != AVMediaType::video)
        return nullptr;
    for (const std::shared_ptr<CameraDevice>& camera : context_->cameras) {
        if (camera->deviceType() == type && camera->position() == position && camera->isPresent())
            return camera;
    }
    return nullptr;
}

std::shared_ptr<AVCaptureDevice> Capture::defaultAudioDevice()
{
    context_->hook().called(CaptureCall::defaultAudioDevice, {});
    const std::shared_ptr<MicrophoneDevice>& microphone = context_->microphone;
    return microphone && microphone->driver()->isPresent() ? microphone : nullptr;
}

std::shared_ptr<AVCaptureSession> Capture::makeSession()
{
    return CaptureSession::create(context_);
}

std::expected<std::shared_ptr<AVCaptureDeviceInput>, Error> Capture::makeDeviceInput(
    const std::shared_ptr<AVCaptureDevice>& device)
{
    const std::string_view kind = device->mediaType() == AVMediaType::audio ? "audio" : "video";
    if (!context_->hook().permits(CaptureCall::makeDeviceInput, kind))
        return std::unexpected(Error{.localizedDescription = "the device has no input"});
    // Clients check the permission to use a camera themselves, but not that of the microphone.
    if (device->mediaType() == AVMediaType::audio
        && context_->configuration.authorization(AVMediaType::audio) != AVAuthorizationStatus::authorized)
        return std::unexpected(Error{.localizedDescription = "the use of the microphone is not permitted"});
    return std::make_shared<AVCaptureDeviceInput>(device);
}

std::shared_ptr<AVCaptureVideoDataOutput> Capture::makeVideoDataOutput()
{
    return std::make_shared<VideoDataOutput>(context_->configuration.hook);
}

std::shared_ptr<AVCapturePhotoOutput> Capture::makePhotoOutput()
{
    return std::make_shared<PhotoOutput>(
        context_->configuration.dispatch, context_->configuration.photos, context_->configuration.hook);
}

std::shared_ptr<AVCaptureMovieFileOutput> Capture::makeMovieFileOutput()
{
    return std::make_shared<MovieFileOutput>(
        context_->configuration.movies, context_->configuration.hook, context_->configuration.activity);
}

std::shared_ptr<AVCaptureMetadataOutput> Capture::makeMetadataOutput()
{
    return std::make_shared<MetadataOutput>(context_->configuration.metadata, context_->configuration.hook);
}

std::shared_ptr<AVCaptureVideoPreviewLayer> Capture::makePreviewLayer(
    const std::shared_ptr<AVCaptureSession>& session)
{
    context_->hook().called(CaptureCall::makePreviewLayer, {});
    const auto captureSession = std::dynamic_pointer_cast<CaptureSession>(session);
    auto layer = std::make_shared<PreviewLayer>(captureSession);
    if (captureSession)
        captureSession->addPreviewLayer(layer);
    return layer;
}

std::vector<std::shared_ptr<AVCaptureDevice>> Capture::cameras() const
{
    std::vector<std::shared_ptr<AVCaptureDevice>> present;
    for (const std::shared_ptr<CameraDevice>& camera : context_->cameras) {
        if (camera->isPresent())
            present.push_back(camera);
    }
    return present;
}

void Capture::loseCameras(const Error& reason)
{
    for (const std::shared_ptr<CameraDevice>& camera : context_->cameras)
        camera->lose(reason);
}

} // namespace tamsel::engine
