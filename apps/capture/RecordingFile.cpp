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

namespace files = std::filesystem;

/// Also a link that leads nowhere.
bool isThere(const files::path& file)
{
    std::error_code error;
    return files::exists(files::symlink_status(file, error));
}

/// A movie, and what stands beside it while it is being recorded.
std::array<files::path, 2> filesOf(const std::string& movie)
{
    return {movie, host::recoveryFileOf(movie)};
}

files::path asideOf(const files::path& file)
{
    return file.string() + ".replaced";
}

/// False, and told, when there is an error.
bool wentWell(const files::path& file, const std::error_code& error, Console& console)
{
    if (error)
        console.fail(file.string() + ": " + error.message());
    return !error;
}

} // namespace

bool mayWrite(const std::string& file, bool overwrites, Console& console)
{
    const bool isKilled = isThere(host::recoveryFileOf(file));
    if (!isKilled && !isThere(file))
        return true;
    std::error_code error;
    const files::file_type kind = files::symlink_status(file, error).type();
    if (host::isBeingRecorded(file))
        console.fail(file + " is being recorded");
    else if (!overwrites)
        console.fail(file
            + (isKilled ? " is what a killed recording has left: repair completes it, --overwrite replaces it"
                        : " is there already: --overwrite replaces it"));
    else if (kind == files::file_type::directory)
        console.fail(file + ": Is a directory");
    else if (kind != files::file_type::regular && kind != files::file_type::symlink
        && kind != files::file_type::not_found)
        console.fail(file + " is no regular file");
    else
        return true;
    return false;
}

bool takeAway(const std::string& file, Console& console)
{
    return std::ranges::all_of(filesOf(file), [&](const files::path& old) {
        std::error_code error;
        files::remove(old, error);
        return wentWell(old, error, console);
    });
}

ReplacedRecording::ReplacedRecording(std::string file) : file_(std::move(file)) { }

bool ReplacedRecording::putAside(Console& console)
{
    for (const files::path& old : filesOf(file_)) {
        if (!isThere(old))
            continue;
        if (isThere(asideOf(old))) {
            console.fail(
                asideOf(old).string() + " is what another recording took the place of: move it away");
            return false;
        }
        std::error_code error;
        files::rename(old, asideOf(old), error);
        if (!wentWell(old, error, console))
            return false;
        replaced_.push_back(old);
    }
    return true;
}

ReplacedRecording::~ReplacedRecording()
{
    std::error_code error;
    const bool isReplaced = files::exists(file_, error);
    for (const files::path& old : replaced_) {
        if (isReplaced)
            files::remove(asideOf(old), error);
        else
            files::rename(asideOf(old), old, error);
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
