#pragma once

#include <tamsel/platform/Error.h>

#include <expected>
#include <string>

namespace tamsel::host {

/// One line that names the file or the input.
[[nodiscard]] inline std::unexpected<platform::Error> failure(
    const std::string& name, const std::string& reason, int code = 0)
{
    return std::unexpected(platform::Error{.localizedDescription = name + ": " + reason, .code = code});
}

} // namespace tamsel::host
