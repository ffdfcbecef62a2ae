#include <host/recording/repairMovie.h>

#include <host/ffmpeg/VideoReader.h>
#include <host/ffmpeg/failure.h>
#include <host/recording/MovieFacts.h>
#include <host/recording/MoviePart.h>

#include <cerrno>
#include <utility>

namespace tamsel::host {

using platform::Error;

namespace {

/// Decodes the first picture and the last ones.
std::expected<void, Error> checkMovie(const std::filesystem::path& movie)
{
    auto reader = VideoReader::openContainer(movie.string(), {}, MediaFormats::assets);
    if (!reader)
        return std::unexpected(std::move(reader.error()));
    if (auto started = (*reader)->startDecoding(); !started)
        return started;
    using enum VideoReader::Step;
    if ((*reader)->next() != frame || !(*reader)->skipToLastWhole() || (*reader)->next() != frame)
        return failure(movie.string(), "does not play; its part has been kept");
    return {};
}

/// The reason why an existing movie is not repaired.
std::unexpected<Error> refusal(const std::filesystem::path& movie, const std::filesystem::path& part)
{
    if (isThere(part))
        return failure(movie.string(), "exists already, and " + part.string() + " has been left unchanged");
    if (isThere(movie.string() + ".recovery"))
        return failure(movie.string(),
            "was left by an earlier version of this program, and only that version can repair it");
    return failure(movie.string(),
        readMovieFacts(movie.string()) ? std::string("plays already")
                                       : "there is no part to repair it from (" + part.string() + ")");
}

} // namespace

std::filesystem::path partOfMovie(const std::filesystem::path& movie)
{
    return MoviePart::pathOf(movie);
}

std::filesystem::path copyOfMovie(const std::filesystem::path& movie)
{
    return MoviePart::copyOf(movie);
}

bool isBeingRecorded(const std::filesystem::path& movie)
{
    const auto part = MoviePart::open(movie);
    return !part && part.error().code == EWOULDBLOCK;
}

std::expected<std::filesystem::path, Error> repairMovie(const std::filesystem::path& file)
{
    const auto named = isThere(partOfMovie(file)) || !isThere(file) ? std::nullopt : MoviePart::movieOf(file);
    std::filesystem::path movie = named.value_or(file);
    if (isThere(movie))
        return refusal(movie, partOfMovie(movie));
    auto part = MoviePart::open(movie);
    if (!part)
        return std::unexpected(std::move(part.error()));
    auto repaired = part->complete(std::nullopt, checkMovie);
    if (repaired)
        repaired = part->publish();
    if (!repaired)
        return std::unexpected(std::move(repaired.error()));
    return movie;
}

} // namespace tamsel::host
