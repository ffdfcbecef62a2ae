#pragma once

#include <tamsel/platform/Error.h>

#include <expected>
#include <filesystem>

namespace tamsel::host {

/// The file beside a movie while it is being recorded.
[[nodiscard]] std::filesystem::path recoveryFileOf(const std::filesystem::path& movie);

/// Whether some process is recording this movie now.
[[nodiscard]] bool isBeingRecorded(const std::filesystem::path& movie);

/// Completes a movie whose recorder was killed, in its place, from what stands beside it; everything that was encoded by then
/// plays afterwards. May itself be killed, and done again. The error is one line that says why there is nothing to do, or
/// what is wrong.
[[nodiscard]] std::expected<void, platform::Error> repairMovie(const std::filesystem::path& movie);

} // namespace tamsel::host
