#pragma once

#include <cstdint>

namespace tamsel::platform {

/// The medium of a device or a track.
enum class AVMediaType : std::uint8_t { video, audio };

} // namespace tamsel::platform
