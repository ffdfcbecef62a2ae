#pragma once

#include "Environment.h"
#include "options/Options.h"
#include "report/Console.h"

namespace tamsel::capture {

/// Asks everything that a manager can be asked: before a session, and of a short session of each camera.
class StatusCommand {
public:
    StatusCommand(const Options& options, Environment& environment);

    [[nodiscard]] ExitStatus run();

private:
    struct Answers;

    /// False when it was interrupted.
    [[nodiscard]] bool ask(Answers& answers);
    void tellEvent(const Answers& answers);
    static void tellTable(const Answers& answers);

    const Options options_;
    Environment& environment_;
    Console console_;
};

} // namespace tamsel::capture
