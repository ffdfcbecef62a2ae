#pragma once

#include "options/Options.h"

#include <tamsel/platform/AVCaptureDevice.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Platform.h>

#include <expected>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tamsel::capture {

/// Where the program runs: one of the back ends, and the signals that reach the program.
class Environment {
public:
    virtual ~Environment() = default;

    [[nodiscard]] virtual platform::Platform& platform() = 0;
    [[nodiscard]] virtual std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label) = 0;
    [[nodiscard]] virtual std::vector<std::shared_ptr<platform::AVCaptureDevice>> cameras() = 0;

    /// Why there is no location, in one line.
    [[nodiscard]] virtual std::string locationProblem() = 0;
    /// Whether one may still come.
    [[nodiscard]] virtual bool isLocationAwaited() = 0;

    /// Why the last recording is not what was asked for, in one line; empty when nothing is wrong.
    [[nodiscard]] virtual std::string recordingProblem() = 0;

    /// Runs the main loop until the condition holds. Signals reach `onInterrupt` (SIGINT, SIGTERM), or send the
    /// application to the background and back (SIGUSR1, SIGUSR2). The condition is asked after everything that the main
    /// loop ran.
    virtual void runUntil(const std::function<bool()>& condition, const std::function<void()>& onInterrupt)
        = 0;
};

/// The error is one line about an input that cannot be used.
[[nodiscard]] std::expected<std::unique_ptr<Environment>, std::string> makeEnvironment(
    const Options& options);

} // namespace tamsel::capture
