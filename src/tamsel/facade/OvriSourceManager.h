#pragma once

#include <tamsel/camera/CameraConfiguration.h>
#include <tamsel/facade/TamselSourceManagerProtocol.h>
#include <tamsel/facade/types/OvriMetadataOutputDelegate.h>
#include <tamsel/facade/types/OvriMotionSourceDelegate.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/FrameLedger.h>

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace tamsel::platform {
struct Platform;
}

namespace tamsel {

class Camera;

/// The public entry: one for each capture screen. It owns at most one camera, holds its three delegates weakly and
/// calls them on the response queue only. When its last reference goes, the camera stops. Thread-safe.
class OvriSourceManager final : public TamselSourceManagerProtocol,
                                public std::enable_shared_from_this<OvriSourceManager> {
    struct Private { };

public:
    /// `types` are the sources that will be used. Nothing is started. The platform must outlive the manager.
    [[nodiscard]] static std::shared_ptr<OvriSourceManager> create(const std::vector<SourceType>& types,
        CameraConfiguration::SessionPreset preset, std::shared_ptr<platform::DispatchQueue> responseQueue,
        platform::Platform& platform);

    OvriSourceManager(Private, CameraConfiguration::SessionPreset preset,
        std::shared_ptr<platform::DispatchQueue> responseQueue, platform::Platform& platform);
    ~OvriSourceManager() override;

    /// Reads the key "minimumFocusObjectSize" (millimetres): a camera zooms in once, at its start, so that an object of
    /// this size can be in focus.
    std::expected<void, CameraError> startSession(const SourceType& type,
        std::weak_ptr<OvriSourceToSession> delegate, const Configurations& configurations,
        std::shared_ptr<platform::UIView> previewView) override;
    void stopCameraSession() override;
    void stopAllSessions() override;
    void resumeCamera() override;
    void pauseCamera() override;

    [[nodiscard]] std::shared_ptr<OvriSourceToSession> delegate() const;
    void setDelegate(std::weak_ptr<OvriSourceToSession> delegate);
    [[nodiscard]] std::shared_ptr<OvriMotionSourceDelegate> motionDelegate() const;
    void setMotionDelegate(std::weak_ptr<OvriMotionSourceDelegate> delegate);
    [[nodiscard]] std::shared_ptr<OvriMetadataOutputDelegate> metadataDelegate() const;
    void setMetadataDelegate(std::weak_ptr<OvriMetadataOutputDelegate> delegate);

    /// What the latest `startSession` asked for; absent before the first.
    [[nodiscard]] std::optional<SourceType> activeType() const;

    /// What became of the frames of the latest camera session, also after its end; all zero before the first.
    [[nodiscard]] platform::FrameCounts frameCounts() const;

private:
    class Relay;

    void makeRelay();
    std::expected<void, CameraError> startCameraSession(CameraConfiguration::Position position,
        bool videoRecordingEnabled, std::optional<double> minimumFocusObjectSize,
        std::shared_ptr<platform::UIView> view);
    void finishCameraStart(const std::shared_ptr<Camera>& camera, CameraConfiguration::Position position,
        bool videoRecordingEnabled, const platform::UIView* view);
    [[nodiscard]] std::shared_ptr<Camera> camera() const;
    void setCamera(std::shared_ptr<Camera> camera);
    void deliver(const platform::AVMetadataObjects& objects);

    platform::Platform& platform_;
    const CameraConfiguration::SessionPreset preset_;
    const std::shared_ptr<platform::DispatchQueue> responseQueue_;
    std::shared_ptr<Relay> relay_;

    // The client's thread, the main queue, the session queue and the response queue meet here. Nothing is called,
    // and nothing released, while it is held.
    mutable std::mutex guard_;
    std::shared_ptr<Camera> camera_;
    std::shared_ptr<const platform::FrameLedger> frameLedger_;
    std::weak_ptr<OvriSourceToSession> delegate_;
    std::weak_ptr<OvriMotionSourceDelegate> motionDelegate_;
    std::weak_ptr<OvriMetadataOutputDelegate> metadataDelegate_;
    std::optional<SourceType> activeType_;
    std::vector<platform::AVMetadataObjectType> metadataDetectionTypes_;
    std::optional<platform::AVLayerVideoGravity> preferredVideoGravity_;
};

} // namespace tamsel
