#pragma once

#include "CaptureFolder.h"
#include "Environment.h"
#include "Waiter.h"
#include "options/Options.h"
#include "report/CaptureHistory.h"
#include "report/Console.h"
#include "report/DetectionTeller.h"
#include "report/FrameTeller.h"
#include "report/MotionTeller.h"

#include <tamsel/client/CaptureGate.h>
#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/CALayer.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::capture {

/// What a capture screen does: a camera with detection and both motion verdicts, one still at the moment when all conditions
/// hold, and everything stopped in order. Leaves a folder with what has come, and a page that shows it.
class CaptureCommand final : public OvriSourceToSession,
                             public OvriMotionSourceDelegate,
                             public OvriMetadataOutputDelegate,
                             public std::enable_shared_from_this<CaptureCommand> {
public:
    CaptureCommand(const Options& options, Environment& environment);

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
    /// What the sensors can tell; absent, and told, when something that is waited for is not among it.
    [[nodiscard]] std::optional<MotionOptions> verdicts();
    void startSession();
    void takeOne();
    /// On the response queue.
    void shoot();
    void cancel();
    void stopRecording();
    void stopSessions();
    void tellOutcome();
    void writeFolder();
    [[nodiscard]] double now() const;
    [[nodiscard]] std::string status() const;

    const Options options_;
    Environment& environment_;
    Console console_;
    CaptureFolder folder_; ///< tells the console at its end what it keeps
    Waiter waiter_;
    const std::shared_ptr<platform::DispatchQueue> responseQueue_;
    const std::shared_ptr<platform::UIView> view_
        = std::make_shared<platform::UIView>(platform::CGSize{640, 480});
    std::shared_ptr<FrameTeller> frameTeller_;
    std::shared_ptr<MotionTeller> motionTeller_;
    std::shared_ptr<OvriSourceManager> manager_;
    std::shared_ptr<CaptureGate> gate_;
    std::chrono::nanoseconds start_{};
    bool isRecording_ = false;

    std::atomic<bool> hasFrame_ = false; ///< since the start, or since the gate opened
    std::atomic<bool> hasOpened_ = false;
    std::atomic<bool> hasSample_ = false;
    std::atomic<bool> hasVideo_ = false;
    std::atomic<bool> hasFailed_ = false; ///< the session cannot go on

    // Of the response queue, until it is drained.
    std::optional<DetectionTeller> detectionTeller_;
    CaptureHistory history_;
    std::optional<double> shot_; ///< when the gate opened
    std::string still_; ///< what is known about it, in one line; empty while there is none

    std::string lacking_; ///< the conditions that did not hold at the end

    std::string film_; ///< what is known about it, as well
    std::string outcome_;
    std::string problem_; ///< beside a still
    double end_ = 0; ///< of the waiting
};

} // namespace tamsel::capture
