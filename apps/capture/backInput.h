#pragma once

#include "Environment.h"

#include <string>

namespace tamsel::capture {

/// Used when there is no camera.
inline constexpr const char* defaultPattern = "test:720p";

/// The input of the back camera: the named one, or else the first V4L2 camera. For `auto` it may wait for one to come.
/// Throws `Unusable`, and while it waits `Interrupted`.
[[nodiscard]] std::string backInput(const GlobalOptions& options, const Needs& needs);

} // namespace tamsel::capture
