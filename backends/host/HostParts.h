#pragma once

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tamsel::host {

/// What this build of the host is made of.
struct HostParts {
    std::string ffmpegVersion; ///< of the FFmpeg libraries that the program runs with
    std::string ffmpegLicence; ///< such as "GPL version 2 or later"
    std::vector<std::string> encoders; ///< of movies: those of the default ones that the libraries have
    std::array<std::pair<std::string_view, bool>, 5> optionalParts; ///< each with whether it is built in
};

[[nodiscard]] HostParts hostParts();

} // namespace tamsel::host
