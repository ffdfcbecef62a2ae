#pragma once

#include "Console.h"
#include "Environment.h"

#include <tamsel/platform/FrameLedger.h>

#include <filesystem>
#include <string>
#include <vector>

namespace tamsel::capture {

/// False, and reported, when something is there that may not, or cannot, be replaced.
[[nodiscard]] bool mayWrite(const std::string& file, bool overwrites, Console& console);

/// Removes a file, and what a killed recording has left beside it. False, and told, when that cannot be.
[[nodiscard]] bool takeAway(const std::string& file, Console& console);

/// What a recording takes the place of, put aside until there is one: its name must be free.
class ReplacedRecording {
public:
    explicit ReplacedRecording(std::string file);
    /// Takes what was put aside away when there is a new file, and else brings it back.
    ~ReplacedRecording();
    ReplacedRecording(const ReplacedRecording&) = delete;
    ReplacedRecording& operator=(const ReplacedRecording&) = delete;

    /// False, and told, when that cannot be.
    [[nodiscard]] bool putAside(Console& console);

private:
    const std::string file_;
    std::vector<std::filesystem::path> replaced_;
};

/// Tells what has been recorded: an event, or a line; or why there is nothing. Returns what it told of a recording.
std::string tellRecording(
    const std::string& file, const platform::FrameCounts& counts, Environment& environment, Console& console);

} // namespace tamsel::capture
