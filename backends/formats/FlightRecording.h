#pragma once

#include <formats/FlightEvent.h>

#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace tamsel::formats {

/// What a flight recorder has recorded. As a file it has one JSON object a line: a header, the inputs, the events in the
/// order of their times.
struct FlightRecording {
    static constexpr int version = 1;

    std::string backEnd = {};
    double startedAt = 0; ///< the wall clock at time 0, seconds since 1970
    std::uint64_t ringSize = 0; ///< the events for which the recorder had room
    std::uint64_t overwritten = 0; ///< events that are missing, the oldest ones
    std::vector<FlightEvent> inputs = {};
    std::vector<FlightEvent> events = {};
};

/// Writes JSON lines.
std::ostream& operator<<(std::ostream& stream, const FlightRecording& recording);

/// The error is one line that says which line of the text is wrong.
[[nodiscard]] std::expected<FlightRecording, platform::Error> readFlightRecording(std::istream& text);
/// The same for a file, with its name.
[[nodiscard]] std::expected<FlightRecording, platform::Error> readFlightRecording(
    const std::filesystem::path& file);

/// The calls of delegates from a time on, each as a line. What a replay cannot repeat is left out: sizes of pictures.
[[nodiscard]] std::vector<std::string> delegateCalls(
    const FlightRecording& recording, std::chrono::nanoseconds from = std::chrono::nanoseconds::min());

} // namespace tamsel::formats
