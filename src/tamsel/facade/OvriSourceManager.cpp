#include <tamsel/facade/OvriSourceManager.h>

#include <tamsel/asset/AssetProcessor.h>
#include <tamsel/camera/IosCamera.h>
#include <tamsel/facade/OvriSourceManagerRelay.h>
#include <tamsel/facade/SessionObserver.h>
#include <tamsel/facade/doubleFor.h>
#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/NotificationCenter.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/debugDescription.h>

#include <utility>

namespace tamsel {

using namespace platform;
using Position = CameraConfiguration::Position;

std::shared_ptr<OvriSourceManager> OvriSourceManager::create(const std::vector<SourceType>& types,
    CameraConfiguration::SessionPreset preset, std::shared_ptr<DispatchQueue> responseQueue,
    Platform& platform)
{
    auto manager = std::make_shared<OvriSourceManager>(Private{}, preset, std::move(responseQueue), platform);
    if (SessionObserver* observer = platform.observer)
        observer->clientCreates(*manager, types, preset, manager->responseQueue_->label());
    manager->makeRelay();
    manager->makeMotionHelper(types);
    return manager;
}

OvriSourceManager::OvriSourceManager(Private, CameraConfiguration::SessionPreset preset,
    std::shared_ptr<DispatchQueue> responseQueue, Platform& platform)
    : platform_(platform),
      preset_(preset),
      responseQueue_(std::move(responseQueue))
{
}

OvriSourceManager::~OvriSourceManager()
{
    observe(&SessionObserver::clientReleases);
    stopCamera();
    swapDelegate(&OvriSourceManager::delegate_, std::weak_ptr<OvriSourceToSession>());
    platform_.diagnostics.writeLine(debugDescription("Source Manager deinit"));
}

void OvriSourceManager::makeRelay()
{
    relay_ = std::make_shared<Relay>(weak_from_this(), responseQueue_);
}

std::expected<void, CameraError> OvriSourceManager::startSession(const SourceType& type,
    std::weak_ptr<OvriSourceToSession> delegate, const Configurations& configurations,
    std::shared_ptr<UIView> previewView)
{
    SessionObserver* const observer = platform_.observer;
    if (observer != nullptr)
        observer->clientStarts(*this, type, configurations, !delegate.expired(), previewView != nullptr);
    std::optional<SourceType> previous;
    {
        const MutexLock lock(guard_);
        previous = std::exchange(activeType_, type);
    }
    swapDelegate(&OvriSourceManager::delegate_, std::move(delegate));
    std::expected<void, CameraError> started = start(type, configurations, std::move(previewView));
    if (observer != nullptr)
        observer->startAnswered(*this, started);
    return started;
}

std::expected<void, CameraError> OvriSourceManager::start(
    const SourceType& type, const Configurations& configurations, std::shared_ptr<UIView> previewView)
{
    const std::optional<double> minimumFocusObjectSize = doubleFor("minimumFocusObjectSize", configurations);
    if (const auto* front = std::get_if<SourceType::CameraFront>(&type.value())) {
        return startCameraSession(
            Position::front, front->videoRecordingEnabled, minimumFocusObjectSize, std::move(previewView));
    }
    if (const auto* back = std::get_if<SourceType::CameraBack>(&type.value())) {
        return startCameraSession(
            Position::back, back->videoRecordingEnabled, minimumFocusObjectSize, std::move(previewView));
    }
    if (const auto* recording = std::get_if<SourceType::Asset>(&type.value()))
        startAssetSession(recording->asset);
    else if (std::holds_alternative<SourceType::Stability>(type.value()))
        startStabilityDetection(configurations);
    else if (std::holds_alternative<SourceType::FacingAngle>(type.value()))
        startFacingAngleDetection(configurations);
    return {};
}

std::expected<void, CameraError> OvriSourceManager::startCameraSession(Position position,
    bool videoRecordingEnabled, std::optional<double> minimumFocusObjectSize, std::shared_ptr<UIView> view)
{
    switch (platform_.capture.authorizationStatus(AVMediaType::video)) {
    case AVAuthorizationStatus::restricted:
        return std::unexpected(CameraError::cameraRestricted().reported(std::nullopt, platform_));
    case AVAuthorizationStatus::notDetermined:
    case AVAuthorizationStatus::denied:
        return std::unexpected(CameraError::noPermission().reported(std::nullopt, platform_));
    case AVAuthorizationStatus::authorized:
        break;
    }

    const std::shared_ptr<Camera> camera
        = IosCamera::create({.position = Position::back,
                                .preset = CameraConfiguration::SessionPreset::photo,
                                .videoRecordingEnabled = false},
            platform_);
    {
        const MutexLock lock(guard_);
        camera->setPreferredVideoGravity(preferredVideoGravity_);
    }
    camera->setMinimumFocusObjectSize(minimumFocusObjectSize);
    platform_.dispatch.mainQueue()->async(
        [weakSelf = weak_from_this(), camera, position, videoRecordingEnabled, view = std::move(view)] {
            if (const std::shared_ptr<OvriSourceManager> self = weakSelf.lock())
                self->finishCameraStart(camera, position, videoRecordingEnabled, view.get());
        });
    setCamera(camera);
    return {};
}

void OvriSourceManager::finishCameraStart(
    const std::shared_ptr<Camera>& camera, Position position, bool videoRecordingEnabled, const UIView* view)
{
    std::vector<AVMetadataObjectType> metadataTypes;
    {
        const MutexLock lock(guard_);
        metadataTypes = metadataDetectionTypes_;
    }
    camera->setDelegate(relay_);
    camera->setIsActive(true);
    camera->setConfiguration(
        {.position = position, .preset = preset_, .videoRecordingEnabled = videoRecordingEnabled});
    if (view)
        camera->addPreviewLayer(view->layer());
    camera->startSession(std::move(metadataTypes),
        [weakCamera = std::weak_ptr(camera), &center = platform_.notificationCenter] {
            if (const std::shared_ptr<Camera> started = weakCamera.lock())
                center.post(cameraDidBecomeVisibleNotification, started);
        });
}

void OvriSourceManager::stopCameraSession()
{
    observe(&SessionObserver::clientStopsCamera);
    stopCamera();
}

void OvriSourceManager::stopCamera()
{
    const std::shared_ptr<Camera> running = camera();
    if (!running)
        return;
    running->pause([weakCamera = std::weak_ptr(running), weakSelf = weak_from_this()] {
        const std::shared_ptr<Camera> stopped = weakCamera.lock();
        if (!stopped)
            return;
        stopped->tearDown([weakSelf] {
            if (const std::shared_ptr<OvriSourceManager> self = weakSelf.lock())
                self->setCamera(nullptr);
        });
    });
}

void OvriSourceManager::stopAllSessions()
{
    stopCameraSession();
    stopMotionWorkers();
}

void OvriSourceManager::pauseCamera()
{
    observe(&SessionObserver::clientPauses);
    if (const std::shared_ptr<Camera> running = camera())
        running->pause({});
}

void OvriSourceManager::resumeCamera()
{
    observe(&SessionObserver::clientResumes);
    if (const std::shared_ptr<Camera> paused = camera())
        paused->resume();
}

void OvriSourceManager::startVideoRecording(const std::filesystem::path& videoUrl)
{
    if (SessionObserver* observer = platform_.observer)
        observer->clientStartsRecording(*this, videoUrl);
    if (const std::shared_ptr<Camera> running = camera())
        running->startVideoRecording(videoUrl);
}

void OvriSourceManager::stopVideoRecording()
{
    observe(&SessionObserver::clientStopsRecording);
    if (const std::shared_ptr<Camera> running = camera())
        running->stopVideoRecording();
}

std::shared_ptr<Camera> OvriSourceManager::camera() const
{
    const MutexLock lock(guard_);
    return camera_;
}

void OvriSourceManager::setCamera(std::shared_ptr<Camera> camera)
{
    std::shared_ptr<const FrameLedger> ledger = camera ? camera->frameLedger() : nullptr;
    std::vector<WhenCameraStopped> stopped;
    {
        const MutexLock lock(guard_);
        if (!camera)
            stopped.swap(whenCameraStopped_);
        camera_.swap(camera); // the earlier camera is released with the argument, after the lock
        if (ledger)
            frameLedger_.swap(ledger);
    }
    for (WhenCameraStopped& callback : stopped)
        post(std::move(callback));
}

void OvriSourceManager::whenCameraStopped(WhenCameraStopped callback)
{
    {
        const MutexLock lock(guard_);
        if (camera_) {
            whenCameraStopped_.push_back(std::move(callback));
            return;
        }
    }
    post(std::move(callback));
}

void OvriSourceManager::post(WhenCameraStopped callback)
{
    responseQueue_->async(whileAlive(weak_from_this(),
        [callback = std::move(callback)](OvriSourceManager& /*self*/) mutable { callback(); }));
}

FrameCounts OvriSourceManager::frameCounts() const
{
    std::shared_ptr<const FrameLedger> ledger;
    {
        const MutexLock lock(guard_);
        ledger = frameLedger_;
    }
    return ledger ? ledger->counts() : FrameCounts{};
}

void OvriSourceManager::observe(void (SessionObserver::*call)(const OvriSourceManager&)) const
{
    if (platform_.observer != nullptr)
        (platform_.observer->*call)(*this);
}

template <typename Delegate>
void OvriSourceManager::swapDelegate(
    std::weak_ptr<Delegate> OvriSourceManager::* delegate, std::weak_ptr<Delegate> replacement)
{
    const MutexLock lock(guard_);
    (this->*delegate).swap(replacement); // the earlier one is released after the lock
}

template void OvriSourceManager::swapDelegate(
    std::weak_ptr<OvriMotionSourceDelegate> OvriSourceManager::*, std::weak_ptr<OvriMotionSourceDelegate>);
template void OvriSourceManager::swapDelegate(std::weak_ptr<OvriMetadataOutputDelegate> OvriSourceManager::*,
    std::weak_ptr<OvriMetadataOutputDelegate>);

std::shared_ptr<OvriSourceToSession> OvriSourceManager::delegate() const
{
    const MutexLock lock(guard_);
    return delegate_.lock();
}

void OvriSourceManager::setDelegate(std::weak_ptr<OvriSourceToSession> delegate)
{
    if (SessionObserver* observer = platform_.observer)
        observer->clientSetsDelegate(*this, !delegate.expired());
    swapDelegate(&OvriSourceManager::delegate_, std::move(delegate));
}

std::shared_ptr<OvriMotionSourceDelegate> OvriSourceManager::motionDelegate() const
{
    const MutexLock lock(guard_);
    return motionDelegate_.lock();
}

void OvriSourceManager::setMotionDelegate(std::weak_ptr<OvriMotionSourceDelegate> delegate)
{
    if (SessionObserver* observer = platform_.observer)
        observer->clientSetsMotionDelegate(*this, !delegate.expired());
    swapDelegate(&OvriSourceManager::motionDelegate_, std::move(delegate));
}

std::shared_ptr<OvriMetadataOutputDelegate> OvriSourceManager::metadataDelegate() const
{
    const MutexLock lock(guard_);
    return metadataDelegate_.lock();
}

void OvriSourceManager::setMetadataDelegate(std::weak_ptr<OvriMetadataOutputDelegate> delegate)
{
    if (SessionObserver* observer = platform_.observer)
        observer->clientSetsMetadataDelegate(*this, !delegate.expired());
    swapDelegate(&OvriSourceManager::metadataDelegate_, std::move(delegate));
}

std::optional<SourceType> OvriSourceManager::activeType() const
{
    const MutexLock lock(guard_);
    return activeType_;
}

} // namespace tamsel
