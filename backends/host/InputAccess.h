#pragma once

#include <host/v4l2/V4L2Calls.h>

#include <cstdint>
#include <string>

namespace tamsel::host {

/// Whether something is there, and whether this process may use it.
enum class InputAccess : std::uint8_t { absent, unreadable, readable };

/// Asks the file system, with the modes of access(2); nothing is opened. Thread-safe.
[[nodiscard]] InputAccess inputAccess(
    const std::string& path, int mode, const V4L2Calls& calls = systemV4L2Calls());

} // namespace tamsel::host
