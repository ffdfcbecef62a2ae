#pragma once

#include "Environment.h"
#include "report/Console.h"

#include <tamsel/platform/FrameLedger.h>

#include <string>
#include <vector>

namespace tamsel::capture {

/// Refuses a name that cannot be recorded to, or whose file may not be replaced. Throws `Unusable`.
void requireMovieName(const std::string& file, bool overwrites);

/// The name of a movie, and those of its temporary files.
[[nodiscard]] std::vector<std::string> recordingNames(const std::string& movie);

/// A free name for a movie: its own, or else one in the same folder.
[[nodiscard]] std::string freeNameFor(const std::string& movie);

/// Replaces an earlier movie by a complete one made under another name. An incomplete one stays, which is reported.
void replaceMovie(const std::string& made, const std::string& movie, bool isWhole, Console& console);

/// Reports a recording by the name that the file will have, as an event or a line, or why there is none. Returns the line.
std::string reportRecording(const std::string& file, const std::string& name,
    const platform::FrameCounts& counts, Environment& environment, Console& console);

} // namespace tamsel::capture
