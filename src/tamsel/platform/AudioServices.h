#pragma once

#include <cstdint>

namespace tamsel::platform {

/// The number of a sound; the shutter has 1108.
using SystemSoundID = std::uint32_t;

/// Sounds that the platform makes by itself. Thread-safe.
class AudioServices {
public:
    virtual ~AudioServices() = default;

    /// The sound does not play, or plays no longer; the next occasion is not affected.
    virtual void disposeSystemSoundID(SystemSoundID id) = 0;
};

} // namespace tamsel::platform
