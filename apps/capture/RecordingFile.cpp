#include "RecordingFile.h"

#include "Files.h"
#include "options/Unusable.h"
#include "report/Utf8.h"

#include <host/recording/MovieFacts.h>
#include <host/recording/repairMovie.h>

#include <system_error>

namespace tamsel::capture {

namespace files = std::filesystem;

void requireMovieName(const std::string& file, bool overwrites)
{
    if (file == "-")
        throw Unusable("a recording needs a file: it cannot be written to standard output");
    const bool isKilled = !isThere(file);
    if (isKilled && !isThere(host::partOfMovie(file)))
        return;
    std::error_code error;
    const files::file_type kind = files::symlink_status(file, error).type();
    if (host::isBeingRecorded(file))
        throw Unusable(file + " is being recorded");
    if (kind == files::file_type::directory)
        throw Unusable(file + " is a folder");
    if (kind != files::file_type::regular && kind != files::file_type::symlink
        && kind != files::file_type::not_found)
        throw Unusable(file + " is not a regular file");
    if (!overwrites)
        throw Unusable(file
            + (isKilled ? ": a killed recording has left a part of it: repair completes it, --overwrite "
                          "replaces it"
                        : " exists already: --overwrite replaces it"));
}

std::vector<std::string> recordingNames(const std::string& movie)
{
    const files::path name = files::path(movie).filename();
    return {name, host::partOfMovie(name), host::copyOfMovie(name)};
}

std::string freeNameFor(const std::string& movie)
{
    const auto isTaken
        = [](const files::path& name) { return isThere(name) || isThere(host::partOfMovie(name)); };
    const files::path path = movie;
    files::path name = path;
    for (int number = 1; isTaken(name); ++number) {
        name = path.parent_path() / path.stem();
        name += number == 1 ? ".new" : ".new-" + std::to_string(number);
        name += path.extension();
    }
    return name;
}

void replaceMovie(const std::string& made, const std::string& movie, bool isWhole, Console& console)
{
    if (made == movie)
        return;
    if (!isWhole) {
        if (isThere(made))
            console.note("the earlier files are kept; the new ones are in " + made);
        return;
    }
    std::error_code error;
    files::rename(made, movie, error);
    for (const files::path& left :
        {host::partOfMovie(movie), host::copyOfMovie(movie)}) { // of a killed recording
        if (!error)
            files::remove(left, error);
    }
    if (error)
        console.fail(movie + ": " + error.message());
}

std::string reportRecording(const std::string& file, const std::string& name,
    const platform::FrameCounts& counts, Environment& environment, Console& console)
{
    const std::string problem = environment.recordingProblem();
    const bool isExplained = counts.isDeviceLost(); // which has been reported
    if (!isExplained && !problem.empty())
        console.fail(problem);
    const auto facts = host::readMovieFacts(file);
    if (!facts) {
        if (!isExplained && problem.empty())
            console.fail(facts.error().localizedDescription);
        return {};
    }
    console.writeEvent("video",
        {{"file", name}, {"duration", numberOf(facts->duration)}, {"frames", facts->frames},
            {"dropped", counts.notRecorded}});
    std::string text = formatted("%.2f s, %llu frames, %llu dropped%s", facts->duration,
        static_cast<unsigned long long>(facts->frames), static_cast<unsigned long long>(counts.notRecorded),
        facts->hasSound ? "" : ", no sound");
    console.write(name + ": " + text);
    return text;
}

} // namespace tamsel::capture
