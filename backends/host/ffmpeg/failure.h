#pragma once

#include <host/ffmpeg/owners.h>

#include <tamsel/platform/Error.h>

#include <array>
#include <expected>
#include <string>

namespace tamsel::host {

/// The FFmpeg libraries' text for an error code.
[[nodiscard]] inline std::string messageOf(int code)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

/// One line that names the file or the input.
[[nodiscard]] inline std::unexpected<platform::Error> failure(
    const std::string& name, const std::string& reason, int code = 0)
{
    return std::unexpected(platform::Error{.localizedDescription = name + ": " + reason, .code = code});
}

} // namespace tamsel::host
