#include "RecordingFile.h"

#include "JsonLine.h"

#include <host/movie/MovieFacts.h>
#include <host/recording/repairMovie.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <system_error>
#include <utility>

namespace tamsel::capture {

namespace {

bool isRead(const std::string& file, const Options& options)
{
    return std::ranges::any_of(
        std::array{options.back, options.front, options.record.microphone}, [&](const auto& input) {
            std::error_code error;
            return input && std::filesystem::equivalent(*input, file, error);
        });
}

} // namespace

bool mayWrite(const std::string& file, bool overwrites, const Options& options, Console& console)
{
    std::error_code error;
    const auto kind = std::filesystem::symlink_status(file, error).type();
    const bool isThere = kind != std::filesystem::file_type::not_found;
    const bool isKilled
        = std::filesystem::exists(std::filesystem::symlink_status(host::recoveryFileOf(file), error));
    if (!isKilled && !isThere)
        return true;
    if (host::isBeingRecorded(file))
        console.fail(file + " is being recorded");
    else if (isRead(file, options))
        console.fail(file + " is an input of this session");
    else if (!overwrites)
        console.fail(file
            + (isKilled ? " is what a killed recording has left: repair completes it, --overwrite replaces it"
                        : " is there already: --overwrite replaces it"));
    else if (kind == std::filesystem::file_type::directory)
        console.fail(file + ": Is a directory");
    else if (isThere && kind != std::filesystem::file_type::regular
        && kind != std::filesystem::file_type::symlink)
        console.fail(file + " is no regular file");
    else
        return true;
    return false;
}

ReplacedRecording::ReplacedRecording(std::string file) : file_(std::move(file)) { }

bool ReplacedRecording::putAside(Console& console)
{
    for (const std::filesystem::path& old : {std::filesystem::path(file_), host::recoveryFileOf(file_)}) {
        std::error_code error;
        if (!std::filesystem::exists(std::filesystem::symlink_status(old, error)))
            continue;
        const std::filesystem::path aside = old.string() + ".replaced";
        if (std::filesystem::exists(std::filesystem::symlink_status(aside, error))) {
            console.fail(aside.string() + " is what another recording took the place of: move it away");
            return false;
        }
        std::filesystem::rename(old, aside, error);
        if (error) {
            console.fail(old.string() + ": " + error.message());
            return false;
        }
        moves_.push_back({old, aside});
    }
    return true;
}

ReplacedRecording::~ReplacedRecording()
{
    std::error_code error;
    const bool isReplaced = std::filesystem::exists(file_, error);
    for (const Move& move : moves_) {
        if (isReplaced)
            std::filesystem::remove(move.aside, error);
        else
            std::filesystem::rename(move.aside, move.from, error);
    }
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
