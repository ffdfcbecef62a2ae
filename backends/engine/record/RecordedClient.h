#pragma once

#include <engine/record/FlightRecorder.h>

#include <tamsel/facade/SessionObserver.h>

#include <memory>
#include <utility>
#include <vector>

namespace tamsel::engine {

/// Records the calls of the clients of a back end and of their delegates. Thread-safe.
class RecordedClient final : public SessionObserver {
public:
    explicit RecordedClient(std::shared_ptr<FlightRecorder> recorder) : recorder_(std::move(recorder)) { }

    void clientCreates(const OvriSourceManager& manager, const std::vector<SourceType>& types,
        CameraConfiguration::SessionPreset preset, const std::string& responseQueue) override;
    void clientReleases(const OvriSourceManager& manager) override;
    void clientStarts(const OvriSourceManager& manager, const SourceType& type,
        const Configurations& configurations, bool hasDelegate, bool hasView) override;
    void startAnswered(
        const OvriSourceManager& manager, const std::expected<void, CameraError>& answer) override;
    void clientStopsCamera(const OvriSourceManager& manager) override { add(Kind::stopCamera, manager); }
    void clientPauses(const OvriSourceManager& manager) override { add(Kind::pause, manager); }
    void clientResumes(const OvriSourceManager& manager) override { add(Kind::resume, manager); }
    void clientPrefersAspectFill(const OvriSourceManager& manager) override
    {
        add(Kind::prefersAspectFill, manager);
    }
    void clientSetsMetadataDetection(const OvriSourceManager& manager,
        const std::vector<MetadataObjectType>& types, bool hasDelegate) override;
    void clientStartsRecording(const OvriSourceManager& manager, const std::filesystem::path& url) override;
    void clientStopsRecording(const OvriSourceManager& manager) override
    {
        add(Kind::stopRecording, manager);
    }
    void clientCapturesStill(const OvriSourceManager& manager, platform::OvriImageSource source,
        const std::optional<platform::TamselCameraSettings>& settings) override;
    void clientProvides(const OvriSourceManager& manager, std::size_t bytes,
        platform::CGImagePropertyOrientation orientation) override;
    void clientStartsMotionDetection(const OvriSourceManager& manager, const std::vector<SourceType>& sources,
        const Configurations& configurations, bool hasDelegate) override;
    void clientStopsMotionDetection(const OvriSourceManager& manager) override
    {
        add(Kind::stopMotion, manager);
    }
    void clientSetsDelegate(const OvriSourceManager& manager, bool isPresent) override;
    void clientSetsMotionDelegate(const OvriSourceManager& manager, bool isPresent) override;
    void clientSetsMetadataDelegate(const OvriSourceManager& manager, bool isPresent) override;

    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;
    void sourceManagerDidGetSample(
        OvriSourceManager& manager, const std::shared_ptr<CaptureSampleUpdate>& sample) override;
    void sourceManagerDidGetVideo(OvriSourceManager& manager, const std::filesystem::path& url) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;
    void sourceManagerCameraDidSuspend(OvriSourceManager& manager) override
    {
        add(Kind::didSuspend, manager);
    }
    void sourceManagerCameraDidResume(OvriSourceManager& manager) override { add(Kind::didResume, manager); }
    void sourceManagerDidDetectStability(OvriSourceManager& manager, bool isStable) override;
    void sourceManagerDidDetectFacingAngle(OvriSourceManager& manager, bool isFacing) override;
    void sourceManagerDidDetect(OvriSourceManager& manager, const OvriMetadataFaceObject& face) override;
    void sourceManagerDidDetect(
        OvriSourceManager& manager, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) override;

private:
    using Kind = formats::FlightKind;

    void add(Kind kind, const OvriSourceManager& manager);
    /// From 1 on, in the order in which they were made.
    [[nodiscard]] double numberOf(const OvriSourceManager& manager);

    const std::shared_ptr<FlightRecorder> recorder_;
    Mutex guard_;
    std::vector<std::pair<const OvriSourceManager*, int>> managers_ TAMSEL_GUARDED_BY(guard_);
    int managerCount_ TAMSEL_GUARDED_BY(guard_) = 0;
};

/// Errors as a recording names them: a camera's by its kind.
[[nodiscard]] std::string_view nameOf(const SourceError& error);
/// A bit for each source.
[[nodiscard]] double bitsOf(const std::vector<SourceType>& types);

} // namespace tamsel::engine
