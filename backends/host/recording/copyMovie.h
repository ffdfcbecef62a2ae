#pragma once

#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <filesystem>
#include <optional>

namespace tamsel::host {

struct MovieCopy {
    std::filesystem::path from;
    std::filesystem::path to; ///< its content is overwritten
    std::filesystem::path movie; ///< the name in errors
    const char* container = nullptr; ///< of the copy, by its name in the FFmpeg libraries
    std::optional<std::uint64_t> packets; ///< at most; absent when unknown
};

/// Copies a movie in fragments, up to the first incomplete picture, into one without, with the index in front. Nothing
/// is encoded again.
[[nodiscard]] std::expected<void, platform::Error> copyMovie(const MovieCopy& copy);

} // namespace tamsel::host
