#include <tamsel/camera/IosCamera.h>

#include <tamsel/camera/VideoFrameHandler.h>
#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/NotificationCenter.h>
#include <tamsel/platform/Platform.h>

#include <algorithm>
#include <utility>

namespace tamsel {

using namespace platform;

namespace {

constexpr const char* videoQueueLabel = "org.tamsel.sourcemanager.IosCamera.video-frame-queue";
constexpr const char* sessionQueueLabel = "org.tamsel.sourcemanager.IosCamera.sessionQueue";

} // namespace

std::shared_ptr<IosCamera> IosCamera::create(CameraConfiguration configuration, Platform& platform)
{
    auto camera = std::make_shared<IosCamera>(Private{}, configuration, platform);
    camera->receiveFrames();
    camera->observeApplication();
    return camera;
}

bool IosCamera::isAvailable(CameraConfiguration::Position position, Platform& platform)
{
    return std::ranges::any_of(deviceTypes(position, platform.device), [&](AVCaptureDeviceType type) {
        return platform.capture.defaultDevice(type, AVMediaType::video, position.capturePosition())
            != nullptr;
    });
}

IosCamera::IosCamera(Private, CameraConfiguration configuration, Platform& platform)
    : platform_(platform),
      captureSession_(platform.capture.makeSession()),
      videoQueue_(platform.dispatch.makeSerialQueue(videoQueueLabel)),
      sessionQueue_(platform.dispatch.makeSerialQueue(sessionQueueLabel)),
      handler_(std::make_shared<VideoFrameHandler>(platform)),
      configuration_(configuration)
{
}

IosCamera::~IosCamera()
{
    platform_.notificationCenter.removeObserver(this);
    if (!isTornDown_)
        return;
    // These stills have no receiver any more; one that was finished in time has kept its camera until then.
    for (std::size_t count = inProgressPhotoCaptureDelegates_.size(); count > 0; --count)
        reportStillFailed();
}

void IosCamera::receiveFrames()
{
    handler_->setCompletion([weakSelf = weak_from_this()](VideoFrameHandler::Result result) {
        const std::shared_ptr<IosCamera> self = weakSelf.lock();
        if (!self)
            return;
        // Strong: a frame that has come this far is delivered even when the owner releases the camera meanwhile.
        self->sessionQueue_->handOver([self, result = std::move(result)]() mutable {
            const std::shared_ptr<CameraDelegate> delegate = self->delegate();
            if (!delegate)
                return;
            if (auto* sampleBuffer = std::get_if<std::shared_ptr<CMSampleBuffer>>(&result)) {
                const FrameVisit visit((*sampleBuffer)->ticket());
                delegate->didOutputSampleBuffer(std::move(*sampleBuffer), std::nullopt);
            } else
                delegate->didFail(std::get<CameraError>(std::move(result)));
        });
    });
}

void IosCamera::observeApplication()
{
    NotificationCenter& center = platform_.notificationCenter;
    const std::shared_ptr<IosCamera> self = shared_from_this();
    center.addObserver(self, UIApplicationDidEnterBackgroundNotification, &IosCamera::handleBackground);
    center.addObserver(self, UIApplicationWillEnterForegroundNotification, &IosCamera::handleForeground);
    center.addObserver(self, UIApplicationDidChangeStatusBarOrientationNotification,
        &IosCamera::handleStatusBarOrientationChanged);
}

void IosCamera::setIsActive(bool isActive)
{
    isActive_ = isActive;
    handler_->setIsActive(isActive);
}

void IosCamera::setPreferredVideoGravity(std::optional<AVLayerVideoGravity> gravity)
{
    preferredVideoGravity_ = gravity;
}

void IosCamera::setMinimumFocusObjectSize(std::optional<double> size)
{
    minimumFocusObjectSize_ = size;
}

void IosCamera::setDelegate(std::weak_ptr<CameraDelegate> delegate)
{
    const MutexLock lock(guard_);
    delegate_.swap(delegate);
}

std::shared_ptr<CameraDelegate> IosCamera::delegate() const
{
    const MutexLock lock(guard_);
    return delegate_.lock();
}

void IosCamera::setConfiguration(CameraConfiguration configuration)
{
    configuration_.emplace(configuration);
}

std::shared_ptr<AVCaptureDeviceInput> IosCamera::currentDeviceInput() const
{
    for (const std::shared_ptr<AVCaptureInput>& input : captureSession_->inputs()) {
        if (auto deviceInput = std::dynamic_pointer_cast<AVCaptureDeviceInput>(input))
            return deviceInput;
    }
    return nullptr;
}

std::shared_ptr<const FrameLedger> IosCamera::frameLedger() const
{
    return captureSession_->frameLedger();
}

void IosCamera::setSampleBufferDelegate(std::weak_ptr<VideoFrameHandler> handler)
{
    std::shared_ptr<AVCaptureVideoDataOutput> output;
    {
        const MutexLock lock(guard_);
        output = videoDataOutput_;
    }
    if (output)
        output->setSampleBufferDelegate(std::move(handler), videoQueue_);
}

void IosCamera::pause(Completion completion)
{
    setSampleBufferDelegate({});
    if (!isActive() || !captureSession_->isRunning())
        return;
    setIsActive(false);
    sessionQueue_->async([self = shared_from_this(), completion = std::move(completion)]() mutable {
        self->captureSession_->stopRunning();
        if (completion)
            completion();
    });
}

void IosCamera::resume()
{
    {
        const MutexLock lock(guard_);
        if (!videoDataOutput_)
            return;
    }
    setIsActive(true);
    setSampleBufferDelegate(handler_);
    if (!captureSession_->isRunning())
        sessionQueue_->async([self = shared_from_this()] { self->captureSession_->startRunning(); });
}

void IosCamera::tearDown(Completion completion)
{
    for (const std::shared_ptr<AVCaptureOutput>& output : captureSession_->outputs()) {
        if (std::dynamic_pointer_cast<AVCaptureMetadataOutput>(output))
            captureSession_->removeOutput(output);
    }
    for (const std::shared_ptr<AVCaptureInput>& input : captureSession_->inputs())
        captureSession_->removeInput(input);
    isTornDown_ = true;
    if (completion)
        completion();
}

void IosCamera::handleBackground()
{
    if (!isActive())
        return;
    sessionQueue_->async(whileAlive(weak_from_this(), [](IosCamera& self) {
        self.captureSession_->stopRunning();
        if (const std::shared_ptr<CameraDelegate> delegate = self.delegate())
            delegate->cameraDidSuspend();
    }));
}

void IosCamera::handleForeground()
{
    if (!isActive())
        return;
    sessionQueue_->async(whileAlive(weak_from_this(), [](IosCamera& self) {
        self.captureSession_->startRunning();
        if (const std::shared_ptr<CameraDelegate> delegate = self.delegate())
            delegate->cameraDidResume();
    }));
}

void IosCamera::addPreviewLayer(const std::shared_ptr<CALayer>& layer)
{
    const std::vector<std::shared_ptr<CALayer>> sublayers = layer->sublayers();
    const bool showsPreview = std::ranges::any_of(sublayers, [](const std::shared_ptr<CALayer>& sublayer) {
        return std::dynamic_pointer_cast<AVCaptureVideoPreviewLayer>(sublayer) != nullptr;
    });
    {
        const MutexLock lock(guard_);
        if (showsPreview && !previewLayer_.expired())
            return;
    }
    const std::shared_ptr<AVCaptureVideoPreviewLayer> preview
        = platform_.capture.makePreviewLayer(captureSession_);
    preview->setName("CameraPreview");
    preview->setVideoGravity(preferredVideoGravity_.value_or(AVLayerVideoGravity::resizeAspect));
    preview->setFrame(layer->bounds());
    {
        const MutexLock lock(guard_);
        previewLayer_ = preview;
    }
    layer->addSublayer(preview);
}

} // namespace tamsel
