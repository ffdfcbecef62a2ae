#pragma once

#include "Environment.h"
#include "Waiter.h"
#include "options/Options.h"
#include "report/Console.h"

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/CALayer.h>

#include <atomic>
#include <memory>

namespace tamsel::capture {

/// Starts a camera, waits until it delivers, takes one still and keeps it.
class StillCommand final : public OvriSourceToSession, public std::enable_shared_from_this<StillCommand> {
public:
    StillCommand(const Options& options, Environment& environment);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;
    void sourceManagerDidGetSample(
        OvriSourceManager& manager, const std::shared_ptr<CaptureSampleUpdate>& sample) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;

private:
    void takeStill();

    const Options options_;
    Environment& environment_;
    Console console_;
    Waiter waiter_;
    const std::shared_ptr<platform::UIView> view_
        = std::make_shared<platform::UIView>(platform::CGSize{640, 480});
    std::shared_ptr<OvriSourceManager> manager_;

    std::atomic<bool> hasFrame_ = false;
    std::atomic<bool> hasSample_ = false;
    std::atomic<bool> hasStillFailed_ = false;
    std::atomic<bool> hasEnded_ = false; ///< with the sample written, or in an error
};

} // namespace tamsel::capture
