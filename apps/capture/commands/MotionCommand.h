#pragma once

#include "Environment.h"
#include "options/Options.h"
#include "report/Console.h"
#include "report/MotionTeller.h"

#include <memory>

namespace tamsel::capture {

/// Runs motion detection alone and tells its verdicts.
class MotionCommand final : public OvriSourceToSession, public std::enable_shared_from_this<MotionCommand> {
public:
    MotionCommand(const Options& options, Environment& environment);

    [[nodiscard]] ExitStatus run();

    // On the response queue.
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override;

private:
    void drawPlot();

    const Options options_;
    Environment& environment_;
    Console console_;
    const std::shared_ptr<MotionTeller> teller_;
};

} // namespace tamsel::capture
