#pragma once

#include "Environment.h"

#include <host/availableCameras.h>

#include <string>
#include <vector>

namespace tamsel::capture {

/// The cameras of this machine that are none of the environment's: a command could name them.
[[nodiscard]] std::vector<host::AvailableCamera> otherCameras(
    const GlobalOptions& options, Environment& environment);

/// The input, and in parentheses what people call the camera and the other input that it has.
[[nodiscard]] std::string describe(const host::AvailableCamera& camera);

} // namespace tamsel::capture
