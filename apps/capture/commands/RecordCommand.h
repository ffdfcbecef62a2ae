#pragma once

#include "Environment.h"
#include "Waiter.h"
#include "options/Options.h"
#include "report/Console.h"

#include <tamsel/facade/OvriSourceManager.h>

#include <atomic>
#include <memory>
#include <string>

namespace tamsel::capture {

/// Starts a camera, records it for a while, and waits for the finished file.
class RecordCommand final : public OvriSourceToSession, public std::enable_shared_from_this<RecordCommand> {
public:
    RecordCommand(const Options& options, Environment& environment);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;
    void sourceManagerDidGetVideo(OvriSourceManager& manager, const std::filesystem::path& url) override;
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;

private:
    /// Whether that left what was wanted.
    bool record();
    [[nodiscard]] std::string status() const;

    const Options options_;
    Environment& environment_;
    Console console_;
    std::string file_; ///< where the movie is made
    Waiter waiter_;
    std::shared_ptr<OvriSourceManager> manager_;
    std::chrono::nanoseconds begun_{};

    std::atomic<bool> hasFrame_ = false;
    std::atomic<bool> hasVideo_ = false;
    std::atomic<bool> hasFailed_ = false; ///< the session cannot go on
};

} // namespace tamsel::capture
