#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/camera/CameraConfiguration.h>
#include <tamsel/facade/TamselSourceManagerProtocol.h>
#include <tamsel/facade/types/OvriMetadataOutputDelegate.h>
#include <tamsel/facade/types/OvriMotionSourceDelegate.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/FrameLedger.h>
#include <tamsel/platform/UIImage.h>
#include <tamsel/platform/UUID.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

class AssetProcessor;
class SessionObserver;
class Camera;
class MotionHelper;
class MotionWorkerKind;

/// The public entry point: one for each capture screen. It owns at most one camera, holds its three delegates weakly
/// and calls them on the response queue only. When its last reference is released, the camera stops. Thread-safe.
class OvriSourceManager final : public TamselSourceManagerProtocol,
                                public std::enable_shared_from_this<OvriSourceManager> {
    struct Private { };

public:
    /// `types` are the sources that will be used: without `stability` or `facingAngle` among them there are no
    /// verdicts. Starts nothing. The platform must outlive the manager.
    [[nodiscard]] static std::shared_ptr<OvriSourceManager> create(const std::vector<SourceType>& types,
        CameraConfiguration::SessionPreset preset, std::shared_ptr<platform::DispatchQueue> responseQueue,
        platform::Platform& platform);

    OvriSourceManager(Private, CameraConfiguration::SessionPreset preset,
        std::shared_ptr<platform::DispatchQueue> responseQueue, platform::Platform& platform);
    ~OvriSourceManager() override;

    /// Reads the key "minimumFocusObjectSize" (millimetres): at its start a camera zooms in once, so that an object of
    /// this size can be in focus. `stability` and `facingAngle` use the keys of `startMotionDetection`; verdicts go to
    /// the motion delegate, failures to the session delegate.
    std::expected<void, CameraError> startSession(const SourceType& type,
        std::weak_ptr<OvriSourceToSession> delegate, const Configurations& configurations,
        std::shared_ptr<platform::UIView> previewView) override;
    void stopCameraSession() override;
    void stopAllSessions() override;
    void resumeCamera() override;
    void pauseCamera() override;
    void setFaceMetadataDetection(std::weak_ptr<OvriMetadataOutputDelegate> delegate) override;
    void setMetadataDetection(const std::vector<MetadataObjectType>& types,
        std::weak_ptr<OvriMetadataOutputDelegate> delegate) override;
    void startVideoRecording(const std::filesystem::path& videoUrl) override;
    void stopVideoRecording() override;

    [[nodiscard]] bool isSourceAvailable(const SourceType& sourceType) const override;
    [[nodiscard]] bool isCameraActive() const override;
    [[nodiscard]] bool canCaptureStillImage() const override;
    [[nodiscard]] bool canRecordVideo() const override;
    [[nodiscard]] platform::CGSize imageResolution() const override;
    void prefersAspectFillCameraPreview() override;

    void captureStillImage(platform::OvriImageSource source,
        const std::optional<platform::TamselCameraSettings>& settings) override;
    void provide(std::span<const std::byte> image, const platform::PropertyDictionary& exif,
        platform::CGImagePropertyOrientation orientation) override;
    /// The image of a video file at 1/60 s, as it is stored (not rotated upright), made on the calling thread. Absent,
    /// after one diagnostic line, when there is none.
    [[nodiscard]] static std::optional<platform::UIImage> provideThumbnailImage(
        const std::filesystem::path& url, platform::Platform& platform);

    /// Starts the verdicts among `sources`, each once, and replaces earlier ones of the same kind. Verdicts go to
    /// `delegate`, held weakly (an empty one clears it), failures to the session delegate as a `MotionHelperError`.
    /// Keys: "stabilityThreshold" (radians per second, 0.3), "stabilityDuration" (seconds, 0.8), "angle" (degrees of
    /// pitch, 45.0).
    void startMotionDetection(const std::vector<SourceType>& sources,
        std::weak_ptr<OvriMotionSourceDelegate> delegate, const Configurations& configurations);
    /// Ends both verdicts; they can be started again.
    void stopMotionWorkers();

    /// The three delegates. Held weakly, so absent once they are destroyed.
    /// @{
    [[nodiscard]] std::shared_ptr<OvriSourceToSession> delegate() const;
    void setDelegate(std::weak_ptr<OvriSourceToSession> delegate);
    [[nodiscard]] std::shared_ptr<OvriMotionSourceDelegate> motionDelegate() const;
    void setMotionDelegate(std::weak_ptr<OvriMotionSourceDelegate> delegate);
    [[nodiscard]] std::shared_ptr<OvriMetadataOutputDelegate> metadataDelegate() const;
    void setMetadataDelegate(std::weak_ptr<OvriMetadataOutputDelegate> delegate);
    /// @}

    /// The same without a delegate.
    /// @{
    std::expected<void, CameraError> startSession(const SourceType& type, std::nullptr_t,
        const Configurations& configurations, std::shared_ptr<platform::UIView> previewView)
    {
        return startSession(
            type, std::weak_ptr<OvriSourceToSession>(), configurations, std::move(previewView));
    }
    void startMotionDetection(
        const std::vector<SourceType>& sources, std::nullptr_t, const Configurations& configurations)
    {
        startMotionDetection(sources, std::weak_ptr<OvriMotionSourceDelegate>(), configurations);
    }
    void setDelegate(std::nullptr_t) { setDelegate(std::weak_ptr<OvriSourceToSession>()); }
    void setMotionDelegate(std::nullptr_t) { setMotionDelegate(std::weak_ptr<OvriMotionSourceDelegate>()); }
    void setMetadataDelegate(std::nullptr_t)
    {
        setMetadataDelegate(std::weak_ptr<OvriMetadataOutputDelegate>());
    }
    /// @}

    /// The type of the latest `startSession`; absent before the first.
    [[nodiscard]] std::optional<SourceType> activeType() const;

    /// The reader of the latest asset session; absent before the first and after the end of the asset. An asset that
    /// cannot be read never ends, so its reader stays.
    [[nodiscard]] std::shared_ptr<AssetProcessor> assetProcessor() const;

    using WhenCameraStopped = std::move_only_function<void()>;
    /// Calls back once, on the response queue and never inside this call, as soon as the manager holds no camera: at
    /// once when there is none. That is the moment to start another one after `stopCameraSession`. It stops nothing
    /// itself, so it waits as long as a camera is held, also one that a stop did not stop. The manager keeps the
    /// callback until then, so capture the manager weakly in it; when the manager is released first, the callback is
    /// not called. It must not be empty.
    void whenCameraStopped(WhenCameraStopped callback);

    /// The frame counts of the latest camera session, also after its end; all zero before the first. In a callback that
    /// reports a frame of that session, or the loss of one, that frame is already counted.
    [[nodiscard]] platform::FrameCounts frameCounts() const;

private:
    class Relay;
    using TellVerdict = void (OvriMotionSourceDelegate::*)(OvriSourceManager&, bool);

    /// Calls the observer, if there is one.
    void observe(void (SessionObserver::*call)(const OvriSourceManager&)) const;
    template <typename Delegate>
    void swapDelegate(
        std::weak_ptr<Delegate> OvriSourceManager::* delegate, std::weak_ptr<Delegate> replacement);
    std::expected<void, CameraError> start(const SourceType& type, const Configurations& configurations,
        std::shared_ptr<platform::UIView> previewView);
    void stopCamera();
    void makeRelay();
    void makeMotionHelper(const std::vector<SourceType>& types);
    std::expected<void, CameraError> startCameraSession(CameraConfiguration::Position position,
        bool videoRecordingEnabled, std::optional<double> minimumFocusObjectSize,
        std::shared_ptr<platform::UIView> view);
    void finishCameraStart(const std::shared_ptr<Camera>& camera, CameraConfiguration::Position position,
        bool videoRecordingEnabled, const platform::UIView* view);
    [[nodiscard]] std::shared_ptr<Camera> camera() const;
    void setCamera(std::shared_ptr<Camera> camera);
    void post(WhenCameraStopped callback);
    void deliver(const platform::AVMetadataObjects& objects);
    void startAssetSession(const std::shared_ptr<platform::AVAsset>& asset);
    void setAssetProcessor(std::shared_ptr<AssetProcessor> processor);
    [[nodiscard]] std::vector<std::byte> stillOf(const std::shared_ptr<platform::AVAsset>& asset) const;
    [[nodiscard]] std::vector<std::byte> albumImage(
        std::span<const std::byte> image, const platform::PropertyDictionary& exif) const;
    void startStabilityDetection(const Configurations& configurations);
    void startFacingAngleDetection(const Configurations& configurations);
    void replaceWorker(std::optional<platform::UUID>& workerId, const MotionWorkerKind& kind,
        TellVerdict tellVerdict) TAMSEL_REQUIRES(motionGuard_);

    platform::Platform& platform_;
    const CameraConfiguration::SessionPreset preset_;
    const std::shared_ptr<platform::DispatchQueue> responseQueue_;
    std::shared_ptr<Relay> relay_;
    std::shared_ptr<MotionHelper> motionHelper_; ///< fixed after creation; absent without a motion source

    // Accessed from the client's thread, the main queue, the session queue and the response queue. Nothing is called
    // or released while it is held.
    mutable Mutex guard_;
    std::shared_ptr<Camera> camera_ TAMSEL_GUARDED_BY(guard_);
    std::vector<WhenCameraStopped> whenCameraStopped_ TAMSEL_GUARDED_BY(guard_);
    std::shared_ptr<AssetProcessor> assetProcessor_ TAMSEL_GUARDED_BY(guard_);
    std::shared_ptr<const platform::FrameLedger> frameLedger_ TAMSEL_GUARDED_BY(guard_);
    std::weak_ptr<OvriSourceToSession> delegate_ TAMSEL_GUARDED_BY(guard_);
    std::weak_ptr<OvriMotionSourceDelegate> motionDelegate_ TAMSEL_GUARDED_BY(guard_);
    std::weak_ptr<OvriMetadataOutputDelegate> metadataDelegate_ TAMSEL_GUARDED_BY(guard_);
    std::optional<SourceType> activeType_ TAMSEL_GUARDED_BY(guard_);
    std::vector<platform::AVMetadataObjectType> metadataDetectionTypes_ TAMSEL_GUARDED_BY(guard_);
    std::optional<platform::AVLayerVideoGravity> preferredVideoGravity_ TAMSEL_GUARDED_BY(guard_);

    // One start or stop of a worker at a time, so there is at most one worker of each kind.
    Mutex motionGuard_;
    std::optional<platform::UUID> stabilityWorkerId_ TAMSEL_GUARDED_BY(motionGuard_);
    std::optional<platform::UUID> facingAngleWorkerId_ TAMSEL_GUARDED_BY(motionGuard_);
};

} // namespace tamsel
