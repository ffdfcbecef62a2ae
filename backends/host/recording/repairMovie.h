#pragma once

#include <tamsel/platform/Error.h>

#include <expected>
#include <filesystem>

namespace tamsel::host {

/// The file in which a movie is recorded and that remains after a crash: "film.part.mp4" beside "film.mp4". It plays.
[[nodiscard]] std::filesystem::path partOfMovie(const std::filesystem::path& movie);
/// The file to which the part is copied when the movie is completed; it may be deleted.
[[nodiscard]] std::filesystem::path copyOfMovie(const std::filesystem::path& movie);

/// Whether any process is recording this movie now.
[[nodiscard]] bool isBeingRecorded(const std::filesystem::path& movie);

/// Completes a movie whose recorder was killed, named by itself or by its part, with everything that had reached the
/// file. If it is killed itself, it can be repeated. Returns the movie's name. The error is one line that says why
/// there is nothing to do, or what is wrong; nothing has changed then.
[[nodiscard]] std::expected<std::filesystem::path, platform::Error> repairMovie(
    const std::filesystem::path& file);

} // namespace tamsel::host
