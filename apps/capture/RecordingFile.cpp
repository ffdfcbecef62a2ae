#include "RecordingFile.h"

#include "JsonLine.h"

#include <host/movie/MovieFacts.h>
#include <host/recording/repairMovie.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace tamsel::capture {

bool mayWrite(const std::string& file, bool overwrites, Console& console)
{
    std::error_code error;
    const bool isKilled
        = std::filesystem::exists(std::filesystem::symlink_status(host::recoveryFileOf(file), error));
    if (!isKilled && !std::filesystem::exists(std::filesystem::symlink_status(file, error)))
        return true;
    if (!overwrites)
        console.fail(file
            + (isKilled ? " is what a killed recording has left: repair completes it, --overwrite replaces it"
                        : " is there already: --overwrite replaces it"));
    else if (std::filesystem::is_directory(file, error))
        console.fail(file + ": Is a directory");
    else
        return true;
    return false;
}

bool makeRoomFor(const std::string& file, bool overwrites, Console& console)
{
    if (!mayWrite(file, overwrites, console))
        return false;
    for (const std::filesystem::path& old : {std::filesystem::path(file), host::recoveryFileOf(file)}) {
        std::error_code error;
        std::filesystem::remove(old, error);
        if (error) {
            console.fail(old.string() + ": " + error.message());
            return false;
        }
    }
    return true;
}

std::string tellRecording(
    const std::string& file, const platform::FrameCounts& counts, Environment& environment, Console& console)
{
    const std::string problem = environment.recordingProblem();
    if (!problem.empty())
        console.fail(problem);
    const auto facts = host::readMovieFacts(file);
    if (!facts) {
        if (problem.empty())
            console.fail(facts.error().localizedDescription);
        return {};
    }
    if (console.wantsEvents())
        console.write(JsonLine("video")
                .text("file", std::string_view(file))
                .number("duration", facts->duration)
                .integer("frames", facts->frames)
                .integer("dropped", counts.notRecorded));
    std::array<char, 120> text{};
    std::snprintf(text.data(), text.size(), "%.2f s, %llu frames, %llu dropped%s", facts->duration,
        static_cast<unsigned long long>(facts->frames), static_cast<unsigned long long>(counts.notRecorded),
        facts->hasSound ? "" : ", no sound");
    if (!console.isJson())
        console.write(file + ": " + text.data());
    return text.data();
}

} // namespace tamsel::capture
