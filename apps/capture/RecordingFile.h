#pragma once

#include "Environment.h"
#include "report/Console.h"

#include <tamsel/platform/FrameLedger.h>

#include <string>
#include <vector>

namespace tamsel::capture {

/// Refuses a name when something is there that may not, or cannot, be replaced. Throws `Unusable`.
void requireMovieName(const std::string& file, bool overwrites);

/// A movie's name, and those of what is beside it while it is being recorded and completed.
[[nodiscard]] std::vector<std::string> recordingNames(const std::string& movie);

/// A name at which a movie can be made: its own when that is free, or else one beside what is there.
[[nodiscard]] std::string freeNameFor(const std::string& movie);

/// Puts a whole movie that was made beside an earlier one in its place. What is not whole stays, which is reported.
void replaceMovie(const std::string& made, const std::string& movie, bool isWhole, Console& console);

/// Reports what has been recorded, by the name that the file will have: an event, or a line; or why there is nothing. Returns
/// the line of a recording.
std::string reportRecording(const std::string& file, const std::string& name,
    const platform::FrameCounts& counts, Environment& environment, Console& console);

} // namespace tamsel::capture
