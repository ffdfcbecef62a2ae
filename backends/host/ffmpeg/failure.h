#pragma once

#include <host/failure.h>
#include <host/ffmpeg/owners.h>

#include <array>
#include <string>

namespace tamsel::host {

/// The FFmpeg libraries' text for an error code.
[[nodiscard]] inline std::string messageOf(int code)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

} // namespace tamsel::host
