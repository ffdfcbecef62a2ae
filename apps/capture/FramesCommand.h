#pragma once

#include "Console.h"
#include "ContactSheet.h"
#include "Environment.h"
#include "MotionTeller.h"
#include "Options.h"

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/RunLoop.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
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
    void tellFrame(const OvriCaptureFrameUpdate& frame, std::uint64_t index);
    void keep(const OvriCaptureFrameUpdate& frame, std::uint64_t index);
    void requestEnd(OvriSourceManager& manager);
    [[nodiscard]] double framesPerSecond(std::uint64_t frames) const;
    void showStatus();
    [[nodiscard]] bool finishPictures();
    void summarize();

    const Options options_;
    Environment& environment_;
    Console console_;
    const std::shared_ptr<MotionTeller> motionTeller_; ///< absent without a motion log
    std::shared_ptr<platform::DispatchQueue> responseQueue_;
    std::shared_ptr<OvriSourceManager> manager_;
    /// Pictures are made here, so that a slow disk does not hold up the client.
    std::shared_ptr<platform::DispatchQueue> pictureQueue_;

    std::atomic<std::uint64_t> delivered_ = 0;
    std::atomic<bool> shouldEnd_ = false;
    std::atomic<std::uint64_t> frameErrors_ = 0;
    std::atomic<std::uint64_t> picturesUnderWay_ = 0;

    // Guarded by the state guard: what the last frame was like.
    std::mutex stateGuard_;
    std::size_t width_ = 0;
    std::size_t height_ = 0;
    std::optional<std::chrono::nanoseconds> firstFrame_;
    std::chrono::nanoseconds lastFrame_{};
    std::chrono::nanoseconds delay_{};

    ContactSheet sheet_; ///< of the picture queue, until the end
};

} // namespace tamsel::capture
