#pragma once

#include <cstdint>

namespace tamsel::platform {

enum class AVMediaType : std::uint8_t { video, audio };

} // namespace tamsel::platform
