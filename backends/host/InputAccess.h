#pragma once

#include <host/v4l2/V4L2Calls.h>

#include <cstdint>
#include <filesystem>
#include <string>

namespace tamsel::host {

/// Whether a path exists, and whether this process may use it.
enum class InputAccess : std::uint8_t { absent, unreadable, readable };

/// Queries the file system, with the modes of access(2); nothing is opened. Thread-safe.
[[nodiscard]] InputAccess inputAccess(
    const std::string& path, int mode, const V4L2Calls& calls = systemV4L2Calls());

/// What the path is instead of a regular file, in words: "is a folder", or that it does not exist; empty for a regular
/// file. Thread-safe.
[[nodiscard]] std::string whyNoFile(const std::filesystem::path& path);

} // namespace tamsel::host
