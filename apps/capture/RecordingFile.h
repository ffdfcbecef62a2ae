#pragma once

#include "Console.h"
#include "Environment.h"

#include <tamsel/platform/FrameLedger.h>

#include <string>

namespace tamsel::capture {

/// False, and told, when something is there that may not, or cannot, be replaced.
[[nodiscard]] bool mayWrite(const std::string& file, bool overwrites, Console& console);

/// A recording needs a name that is free: takes what is there away, when it may. False, and told, when the file may not be
/// written.
[[nodiscard]] bool makeRoomFor(const std::string& file, bool overwrites, Console& console);

/// Tells what has been recorded: an event, or a line; or why there is nothing. Returns what it told of a recording.
std::string tellRecording(
    const std::string& file, const platform::FrameCounts& counts, Environment& environment, Console& console);

} // namespace tamsel::capture
