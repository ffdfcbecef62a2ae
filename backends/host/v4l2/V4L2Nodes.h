#pragma once

#include <host/v4l2/V4L2Calls.h>

#include <filesystem>
#include <string>
#include <vector>

namespace tamsel::host {

/// The nodes `video0`, `video1`, … of a folder, in the order of their numbers.
[[nodiscard]] std::vector<std::string> videoNodes(const std::filesystem::path& folder);

/// Those of all nodes that capture and stream. Each is opened briefly; nodes for metadata and nodes that cannot be opened are
/// skipped.
[[nodiscard]] std::vector<std::string> captureNodes(const V4L2Calls& calls = systemV4L2Calls());

} // namespace tamsel::host
