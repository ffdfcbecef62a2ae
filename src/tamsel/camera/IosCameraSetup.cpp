#include <tamsel/camera/IosCamera.h>

#include <tamsel/camera/VideoFrameHandler.h>
#include <tamsel/metadata/MetadataOutputHandler.h>
#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/DispatchGroup.h>
#include <tamsel/platform/Platform.h>

#include <algorithm>
#include <utility>

namespace tamsel {

using namespace platform;

void IosCamera::startSession(std::vector<AVMetadataObjectType> metadataObjectTypes, Completion completion)
{
    const auto group = std::make_shared<DispatchGroup>();
    const UIInterfaceOrientation orientation = platform_.application.statusBarOrientation();
    const std::shared_ptr<DispatchQueue> globalQueue = platform_.dispatch.globalQueue();
    for (const auto step : {&IosCamera::applySessionPreset, &IosCamera::setUpDeviceInputs,
             &IosCamera::setUpVideoOutputs, &IosCamera::setUpPhotoOutput}) {
        group->enter();
        globalQueue->async([weakSelf = weak_from_this(), group, step] {
            if (const std::shared_ptr<IosCamera> self = weakSelf.lock())
                (self.get()->*step)();
            group->leave();
        });
    }
    group->notify(sessionQueue_,
        [weakSelf = weak_from_this(), types = std::move(metadataObjectTypes), orientation,
            completion = std::move(completion)]() mutable {
            if (const std::shared_ptr<IosCamera> self = weakSelf.lock())
                self->finishSetUp(std::move(types), orientation, std::move(completion));
        });
}

void IosCamera::applySessionPreset()
{
    captureSession_->beginConfiguration();
    captureSession_->setSessionPreset(capturePreset(configuration_->preset));
}

void IosCamera::setUpDeviceInputs()
{
    CaptureServices& capture = platform_.capture;
    const CameraConfiguration::Position position = configuration_->position;
    std::shared_ptr<AVCaptureDevice> device;
    for (const AVCaptureDeviceType type : deviceTypes(position, platform_.device)) {
        // The last available kind wins: the wide-angle camera is preferred to those with several lenses.
        if (auto found = capture.defaultDevice(type, AVMediaType::video, position.capturePosition()))
            device = std::move(found);
    }
    if (!device)
        return;
    captureDeviceInput_ = capture.makeDeviceInput(device).value_or(nullptr);
    if (!configuration_->videoRecordingEnabled)
        return;
    if (const std::shared_ptr<AVCaptureDevice> microphone = capture.defaultAudioDevice())
        audioDeviceInput_ = capture.makeDeviceInput(microphone).value_or(nullptr);
}

void IosCamera::setUpVideoOutputs()
{
    std::shared_ptr<AVCaptureVideoDataOutput> output = platform_.capture.makeVideoDataOutput();
    output->setAlwaysDiscardsLateVideoFrames(true);
    output->setVideoSettings(kCVPixelFormatType_32BGRA);
    {
        const MutexLock lock(guard_);
        videoDataOutput_.swap(output);
    }
    if (configuration_->videoRecordingEnabled) {
        movieFileOutput_ = platform_.capture.makeMovieFileOutput();
        movieFileOutput_->setMovieFragmentInterval(CMTime{});
    }
}

void IosCamera::setUpPhotoOutput()
{
    photoOutput_ = platform_.capture.makePhotoOutput();
    photoOutput_->setHighResolutionCaptureEnabled(true);
}

void IosCamera::finishSetUp(
    std::vector<AVMetadataObjectType> types, UIInterfaceOrientation orientation, Completion completion)
{
    sessionQueue_->assertCurrent();
    platform_.dispatch.globalQueue()->async(
        whileAlive(weak_from_this(), [](IosCamera& self) { self.setSampleBufferDelegate(self.handler_); }));
    if (!addInputsAndOutputs(orientation)) {
        captureSession_->commitConfiguration();
        return;
    }
    // Strong: a session that has been set up is started and reported before its camera may be released.
    sessionQueue_->async(
        [self = shared_from_this(), types = std::move(types), completion = std::move(completion)]() mutable {
            self->setUpMetadataOutput(types);
            self->adjustZoomForMinimumFocus();
            self->captureSession_->commitConfiguration();
            self->captureSession_->startRunning();
            if (completion)
                self->platform_.dispatch.mainQueue()->async(std::move(completion));
        });
}

bool IosCamera::addInputsAndOutputs(UIInterfaceOrientation orientation)
{
    AVCaptureSession& session = *captureSession_;
    if (!captureDeviceInput_ || !session.canAddInput(captureDeviceInput_)) {
        fail(CameraError::canNotAddInput());
        return false;
    }
    session.addInput(captureDeviceInput_);
    if (audioDeviceInput_ && session.canAddInput(audioDeviceInput_))
        session.addInput(audioDeviceInput_);

    std::shared_ptr<AVCaptureVideoDataOutput> videoDataOutput;
    {
        const MutexLock lock(guard_);
        videoDataOutput = videoDataOutput_;
    }
    if (!videoDataOutput || !session.canAddOutput(videoDataOutput)) {
        fail(CameraError::canNotAddVideoOutput());
        return false;
    }
    session.addOutput(videoDataOutput);
    if (movieFileOutput_) {
        if (!session.canAddOutput(movieFileOutput_)) {
            fail(CameraError::canNotAddVideoOutput());
            return false;
        }
        session.addOutput(movieFileOutput_);
    }
    if (!photoOutput_ || !session.canAddOutput(photoOutput_)) {
        fail(CameraError::canNotAddPhotoOutput());
        return false;
    }
    session.addOutput(photoOutput_);
    configureVideoConnections(orientation);
    return true;
}

void IosCamera::setUpMetadataOutput(const std::vector<AVMetadataObjectType>& types)
{
    sessionQueue_->assertCurrent();
    if (types.empty())
        return;
    const std::shared_ptr<AVCaptureMetadataOutput> output = platform_.capture.makeMetadataOutput();
    if (!captureSession_->canAddOutput(output))
        return;
    captureSession_->addOutput(output);

    const std::vector<AVMetadataObjectType> available = output->availableMetadataObjectTypes();
    std::vector<AVMetadataObjectType> wanted;
    std::ranges::copy_if(types, std::back_inserter(wanted), [&](const AVMetadataObjectType& type) {
        return std::ranges::find(available, type) != available.end();
    });
    output->setMetadataObjectTypes(std::move(wanted));

    metadataHandler_ = std::make_shared<MetadataOutputHandler>(delegate(), weak_from_this());
    output->setMetadataObjectsDelegate(metadataHandler_, videoQueue_);
    metadataOutput_ = output;
}

void IosCamera::fail(CameraError error)
{
    platform_.dispatch.mainQueue()->async([weakSelf = weak_from_this(), error = std::move(error)] {
        const std::shared_ptr<IosCamera> self = weakSelf.lock();
        if (!self)
            return;
        if (const std::shared_ptr<CameraDelegate> delegate = self->delegate())
            delegate->didFail(error.reported(sessionElement, self->platform_));
    });
}

} // namespace tamsel
