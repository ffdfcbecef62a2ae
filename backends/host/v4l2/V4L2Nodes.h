#pragma once

#include <host/v4l2/V4L2Calls.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tamsel::host {

enum class NodeAccess : std::uint8_t { absent, unreadable, readable };

/// Whether this process may capture from a node; nothing is opened. Thread-safe.
[[nodiscard]] NodeAccess nodeAccess(const std::string& path, const V4L2Calls& calls = systemV4L2Calls());

/// The nodes `video0`, `video1`, … of a folder that capture and stream, in the order of their numbers. Each is opened for
/// a moment: nodes of metadata and nodes that cannot be opened are left out.
[[nodiscard]] std::vector<std::string> captureNodes(
    const V4L2Calls& calls = systemV4L2Calls(), const std::filesystem::path& folder = "/dev");

} // namespace tamsel::host
