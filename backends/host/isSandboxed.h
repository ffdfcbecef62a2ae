#pragma once

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace tamsel::host {

/// Whether this program runs under Flatpak or Snap. There is no common sign of a sandbox.
[[nodiscard]] inline bool isSandboxed()
{
    std::error_code error;
    return std::filesystem::exists("/.flatpak-info", error) || std::getenv("SNAP") != nullptr;
}

} // namespace tamsel::host
