#pragma once

#include "Environment.h"
#include "Waiter.h"
#include "report/Console.h"

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/CALayer.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

namespace tamsel::capture {

/// The client of one camera session, for a command that waits for its results.
class SessionClient : public OvriSourceToSession {
public:
    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;

protected:
    SessionClient(const GlobalOptions& global, Environment& environment, Console& console);

    void makeManager(std::vector<SourceType> sources, GlobalOptions::Preset preset);
    /// False, and reported, when the session cannot start.
    [[nodiscard]] bool start(const SourceType& source, std::weak_ptr<OvriSourceToSession> self);
    /// Waits for the first frame. False when there is none: reported, unless it was interrupted.
    [[nodiscard]] bool waitForFrame(std::chrono::nanoseconds limit);

    const GlobalOptions& global_;
    Environment& environment_;
    Console& console_;
    Waiter waiter_;
    const std::shared_ptr<platform::DispatchQueue> responseQueue_;
    const std::shared_ptr<platform::UIView> view_
        = std::make_shared<platform::UIView>(platform::CGSize{640, 480});
    std::shared_ptr<OvriSourceManager> manager_;

    std::atomic<bool> hasFrame_ = false;
    std::atomic<bool> hasFailed_ = false; ///< the session has ended in an error
};

} // namespace tamsel::capture
