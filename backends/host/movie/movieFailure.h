#pragma once

#include <tamsel/platform/Error.h>

extern "C" {
#include <libavutil/error.h>
}

#include <array>
#include <expected>
#include <string>

namespace tamsel::host {

/// What the FFmpeg libraries call an error.
[[nodiscard]] inline std::string messageOf(int code)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

/// One line that names the input.
[[nodiscard]] inline std::unexpected<platform::Error> failure(
    const std::string& input, const std::string& reason, int code = 0)
{
    return std::unexpected(platform::Error{.localizedDescription = input + ": " + reason, .code = code});
}

} // namespace tamsel::host
