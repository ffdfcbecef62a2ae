#pragma once

#include "Environment.h"

#include <optional>
#include <string>

namespace tamsel::capture {

/// Used when there is no camera.
inline constexpr const char* defaultPattern = "test:720p";

struct CameraInputs {
    std::string back;
    std::optional<std::string> front; ///< absent when there is none
};

/// The named inputs, or else the first cameras of this machine. For `auto` it may wait for one to come. Throws `Unusable`,
/// and while it waits `Interrupted`.
[[nodiscard]] CameraInputs cameraInputs(const GlobalOptions& options, const Needs& needs);

} // namespace tamsel::capture
