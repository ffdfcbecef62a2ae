#pragma once

#include <tamsel/platform/Error.h>

#include <cstdint>
#include <expected>
#include <filesystem>
#include <optional>

namespace tamsel::host {

struct MovieCopy {
    std::filesystem::path from;
    std::filesystem::path to; ///< what it holds is given up
    std::filesystem::path movie; ///< which errors name
    const char* container = nullptr; ///< of the copy, as the FFmpeg libraries call it
    std::optional<std::uint64_t> packets; ///< at most; absent when that is not known
};

/// Copies a movie in fragments, up to the first picture that is not whole, into one without, with the index in front. Nothing
/// is encoded again.
[[nodiscard]] std::expected<void, platform::Error> copyMovie(const MovieCopy& copy);

} // namespace tamsel::host
