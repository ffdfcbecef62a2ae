#pragma once

#include "Environment.h"
#include "options/Options.h"
#include "report/Console.h"
#include "report/FrameTeller.h"
#include "report/MotionTeller.h"

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/RunLoop.h>

#include <atomic>
#include <memory>
#include <string>

namespace tamsel::capture {

/// Runs one camera session and tells what reaches its client: as a table, or as one JSON object a line.
class FramesCommand final : public OvriSourceToSession, public std::enable_shared_from_this<FramesCommand> {
public:
    FramesCommand(const Options& options, Environment& environment);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;
    void sourceManagerCameraDidSuspend(OvriSourceManager& manager) override;
    void sourceManagerCameraDidResume(OvriSourceManager& manager) override;

private:
    void reportError(const CameraError& error);
    void requestEnd(OvriSourceManager& manager);
    [[nodiscard]] std::string status() const;
    void summarize();

    const Options options_;
    Environment& environment_;
    Console console_;
    const std::shared_ptr<MotionTeller> motionTeller_; ///< absent without a motion log
    const std::shared_ptr<FrameTeller> frameTeller_;
    std::shared_ptr<platform::DispatchQueue> responseQueue_;
    std::shared_ptr<OvriSourceManager> manager_;

    std::atomic<bool> shouldEnd_ = false;
    std::atomic<std::uint64_t> frameErrors_ = 0;
};

} // namespace tamsel::capture
