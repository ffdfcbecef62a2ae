#pragma once

#include <host/v4l2/V4L2Calls.h>

#include <filesystem>
#include <string>
#include <vector>

namespace tamsel::host {

/// The nodes `video0`, `video1`, … of a folder that capture and stream, in the order of their numbers. Each is opened
/// briefly; nodes for metadata and nodes that cannot be opened are skipped.
[[nodiscard]] std::vector<std::string> captureNodes(
    const V4L2Calls& calls = systemV4L2Calls(), const std::filesystem::path& folder = "/dev");

} // namespace tamsel::host
