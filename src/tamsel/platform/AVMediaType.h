#pragma once

#include <cstdint>

namespace tamsel::platform {

/// What a device or a track gives.
enum class AVMediaType : std::uint8_t { video, audio };

} // namespace tamsel::platform
