#pragma once

#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <string>

namespace tamsel::host {

/// The facts of a movie file.
struct MovieFacts {
    double duration = 0; ///< of the picture, in seconds
    std::uint64_t frames = 0;
    bool hasSound = false;
};

/// Reads the file. The error is one line that names it.
[[nodiscard]] std::expected<MovieFacts, platform::Error> readMovieFacts(const std::string& file);

} // namespace tamsel::host
