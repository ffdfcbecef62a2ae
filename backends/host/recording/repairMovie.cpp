#include <host/recording/repairMovie.h>

#include <host/movie/MovieFacts.h>
#include <host/movie/MovieReader.h>
#include <host/movie/movieFailure.h>
#include <host/recording/MovieFile.h>
#include <host/recording/RecoveryFile.h>
#include <host/recording/ReservedFile.h>

#include <system_error>

namespace tamsel::host {

using platform::Error;

namespace {

/// Decodes the first picture and the last ones.
std::expected<void, Error> checkMovie(const std::string& movie)
{
    auto reader = MovieReader::openContainer(movie, {}, MovieFormats::recordings);
    if (!reader)
        return std::unexpected(std::move(reader.error()));
    if (auto started = (*reader)->startDecoding(); !started)
        return started;
    using enum MovieReader::Step;
    if ((*reader)->next() != frame || !(*reader)->skipToLastWhole() || (*reader)->next() != frame)
        return failure(movie, "was completed and does not play; what it was made from stays beside it");
    return {};
}

} // namespace

std::filesystem::path recoveryFileOf(const std::filesystem::path& movie)
{
    return RecoveryFile::pathOf(movie);
}

bool isBeingRecorded(const std::filesystem::path& movie)
{
    const auto recovery = ReservedFile::open(recoveryFileOf(movie));
    return recovery && !recovery->lock();
}

std::expected<void, Error> repairMovie(const std::filesystem::path& movie)
{
    const std::filesystem::path recovery = recoveryFileOf(movie);
    std::error_code ignored;
    if (std::filesystem::exists(movie, ignored) && !std::filesystem::exists(recovery, ignored))
        return failure(movie.string(),
            readMovieFacts(movie.string())
                ? std::string("plays already")
                : "there is nothing to repair it from (" + recovery.string() + ")");
    auto file = MovieFile::resume(movie);
    if (!file)
        return std::unexpected(std::move(file.error()));
    return (*file)->finish([&] { return checkMovie(movie.string()); });
}

} // namespace tamsel::host
