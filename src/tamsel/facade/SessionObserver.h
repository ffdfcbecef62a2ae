#pragma once

#include <tamsel/camera/CameraConfiguration.h>
#include <tamsel/facade/TamselSourceManagerProtocol.h>
#include <tamsel/facade/types/OvriMetadataOutputDelegate.h>
#include <tamsel/facade/types/OvriMotionSourceDelegate.h>

#include <cstddef>
#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tamsel {

/// Sees the calls of clients and of their delegates, for a recorder. It gets every call of a delegate that exists, just before the
/// delegate, and every operation that changes something, before it is carried out, on the caller's thread. An operation
/// that is made of others is seen as those. Thread-safe; must not call a manager.
class SessionObserver : public OvriSourceToSession,
                        public OvriMotionSourceDelegate,
                        public OvriMetadataOutputDelegate {
public:
    virtual void clientCreates(const OvriSourceManager& manager, const std::vector<SourceType>& types,
        CameraConfiguration::SessionPreset preset, const std::string& responseQueue)
        = 0;
    virtual void clientReleases(const OvriSourceManager& manager) = 0;
    virtual void clientStarts(const OvriSourceManager& manager, const SourceType& type,
        const Configurations& configurations, bool hasDelegate, bool hasView)
        = 0;
    virtual void startAnswered(
        const OvriSourceManager& manager, const std::expected<void, CameraError>& answer)
        = 0;
    virtual void clientStopsCamera(const OvriSourceManager& manager) = 0;
    virtual void clientPauses(const OvriSourceManager& manager) = 0;
    virtual void clientResumes(const OvriSourceManager& manager) = 0;
    virtual void clientPrefersAspectFill(const OvriSourceManager& manager) = 0;
    virtual void clientSetsMetadataDetection(
        const OvriSourceManager& manager, const std::vector<MetadataObjectType>& types, bool hasDelegate)
        = 0;
    virtual void clientStartsRecording(const OvriSourceManager& manager, const std::filesystem::path& url)
        = 0;
    virtual void clientStopsRecording(const OvriSourceManager& manager) = 0;
    virtual void clientCapturesStill(const OvriSourceManager& manager, platform::OvriImageSource source,
        const std::optional<platform::TamselCameraSettings>& settings)
        = 0;
    virtual void clientProvides(
        const OvriSourceManager& manager, std::size_t bytes, platform::CGImagePropertyOrientation orientation)
        = 0;
    virtual void clientStartsMotionDetection(const OvriSourceManager& manager,
        const std::vector<SourceType>& sources, const Configurations& configurations, bool hasDelegate)
        = 0;
    virtual void clientStopsMotionDetection(const OvriSourceManager& manager) = 0;
    virtual void clientSetsDelegate(const OvriSourceManager& manager, bool isPresent) = 0;
    virtual void clientSetsMotionDelegate(const OvriSourceManager& manager, bool isPresent) = 0;
    virtual void clientSetsMetadataDelegate(const OvriSourceManager& manager, bool isPresent) = 0;
};

} // namespace tamsel
