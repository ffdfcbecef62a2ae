#pragma once

#include "Environment.h"
#include "options/Options.h"
#include "report/Console.h"
#include "report/FrameTeller.h"

#include <memory>

namespace tamsel::capture {

/// Reads a recording the way a capture screen does and tells its frames.
class AssetCommand final : public OvriSourceToSession, public std::enable_shared_from_this<AssetCommand> {
public:
    AssetCommand(const Options& options, Environment& environment);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override;

private:
    /// The recording; absent when it has no video that could be read, which has been told.
    [[nodiscard]] std::shared_ptr<platform::AVAsset> openAsset();
    void tellEnd();

    const Options options_;
    Environment& environment_;
    Console console_;
    const std::shared_ptr<FrameTeller> frameTeller_;
};

} // namespace tamsel::capture
