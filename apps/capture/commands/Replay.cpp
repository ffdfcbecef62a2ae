#include "commands/commands.h"

#include "Files.h"
#include "options/Unusable.h"
#include "options/values.h"
#include "report/Utf8.h"

#include <simulated/ReplayedClient.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace tamsel::capture {

namespace {

constexpr std::size_t columnWidth = 40;

using Calls = std::vector<std::string>;

std::string callOf(const Calls& calls, std::size_t index)
{
    return index < calls.size() ? printable(calls[index]) : "nothing";
}

/// Both sequences side by side; the number of the first line that differs, or of all lines.
std::size_t compare(const Calls& recorded, const Calls& replayed, Console& console)
{
    const std::size_t lines = std::max(recorded.size(), replayed.size());
    std::size_t first = lines;
    for (std::size_t line = 0; line < lines; ++line) {
        const std::string left = callOf(recorded, line);
        const std::string right = callOf(replayed, line);
        const bool isEqual = left == right;
        if (!isEqual)
            first = std::min(first, line);
        const std::size_t blanks = columnWidth - std::min(left.size(), columnWidth);
        console.write((line == first    ? "> "
                              : isEqual ? "  "
                                        : "! ")
            + left + std::string(blanks + 1, ' ') + right);
        console.writeEvent("call", {{"recorded", left}, {"replayed", right}, {"equal", isEqual}});
    }
    return first;
}

ExitStatus replayFile(const std::string& file, bool isJson)
{
    auto read = formats::readFlightRecording(std::filesystem::path(readableInput(file)));
    if (!read)
        throw Unusable(withNamesAsGiven(read.error().localizedDescription));
    const auto recording = std::make_shared<const formats::FlightRecording>(std::move(*read));
    Console console(isJson);
    try {
        const Calls recorded = delegateCalls(*recording, simulated::originOfReplay(*recording));
        const Calls replayed = delegateCalls(simulated::replay(recording));
        const std::size_t first = compare(recorded, replayed, console);
        if (first < std::max(recorded.size(), replayed.size()))
            console.fail("call " + std::to_string(first + 1) + " of " + std::to_string(recorded.size())
                + " differs: " + callOf(recorded, first) + ", replayed: " + callOf(replayed, first));
        else
            console.note("all " + std::to_string(recorded.size()) + " calls are the same");
    } catch (const std::invalid_argument& problem) {
        throw Unusable(file + ": " + problem.what());
    }
    return console.endSession(false);
}

} // namespace

void addReplay(Program& program)
{
    const auto file = std::make_shared<std::string>();
    CLI::App& command = addCommand(program, "replay",
        "repeat a recorded session on the simulated phone. Shows the calls of the client's delegates side by "
        "side, as recorded and as replayed, and marks the first difference; returns 1 when there is one",
        [&global = program.global, file] { return replayFile(*file, global.json); });
    addValue(command, "RECORDING", *file, "", "a file of --recording", text)->required();
}

} // namespace tamsel::capture
