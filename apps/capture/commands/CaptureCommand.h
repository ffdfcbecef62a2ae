#pragma once

#include "CaptureFolder.h"
#include "SessionClient.h"
#include "commands/CaptureOptions.h"
#include "report/CaptureHistory.h"
#include "report/DetectionReport.h"
#include "report/FrameReport.h"
#include "report/MotionReport.h"

#include <tamsel/client/CaptureGate.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::capture {

/// Runs a camera with detection and both motion verdicts, as a capture screen does, and takes one still as soon as all
/// conditions hold. Writes a folder with the results and a page that shows them.
class CaptureCommand final : public SessionClient,
                             public OvriMotionSourceDelegate,
                             public OvriMetadataOutputDelegate,
                             public std::enable_shared_from_this<CaptureCommand> {
public:
    CaptureCommand(const GlobalOptions& global, const CaptureOptions& options, Environment& environment,
        Console& console);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;
    void sourceManagerDidGetSample(
        OvriSourceManager& manager, const std::shared_ptr<CaptureSampleUpdate>& sample) override;
    void sourceManagerDidGetVideo(OvriSourceManager& manager, const std::filesystem::path& url) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;
    void sourceManagerCameraDidSuspend(OvriSourceManager& manager) override;
    void sourceManagerCameraDidResume(OvriSourceManager& manager) override;
    void sourceManagerDidDetectStability(OvriSourceManager& manager, bool isStable) override;
    void sourceManagerDidDetectFacingAngle(OvriSourceManager& manager, bool isFacing) override;
    void sourceManagerDidDetect(OvriSourceManager& manager, const OvriMetadataFaceObject& face) override;
    void sourceManagerDidDetect(
        OvriSourceManager& manager, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) override;

private:
    /// The verdicts that the sensors allow; absent, and reported, when a required one is not possible.
    [[nodiscard]] std::optional<MotionOptions> verdicts();
    void startSession();
    void takeOne();
    /// On the response queue.
    void shoot();
    void cancel();
    void stopRecording();
    void stopSessions();
    void reportOutcome();
    void writeFolder();
    [[nodiscard]] double now() const;
    [[nodiscard]] std::string status() const;

    const CaptureOptions& options_;
    CaptureFolder folder_;
    std::shared_ptr<FrameReport> frameReport_;
    std::shared_ptr<MotionReport> motionReport_;
    std::shared_ptr<CaptureGate> gate_;
    std::chrono::nanoseconds start_{};
    bool isRecording_ = false;

    // `hasFrame_` is reset when the gate opens.
    std::atomic<bool> hasOpened_ = false;
    std::atomic<bool> hasSample_ = false;
    std::atomic<bool> hasVideo_ = false;

    // Of the response queue, until it is drained.
    std::optional<DetectionReport> detectionReport_;
    CaptureHistory history_;
    std::optional<double> shot_; ///< when the gate opened
    std::string still_; ///< its description in one line; empty while there is none

    std::string lacking_; ///< the conditions that did not hold at the end

    std::string film_; ///< its description, likewise
    std::string outcome_;
    std::string problem_; ///< an error despite a still
    double end_ = 0; ///< when waiting ended
    bool isMissingOnly_ = false; ///< no still, only because a condition did not hold in time
};

} // namespace tamsel::capture
