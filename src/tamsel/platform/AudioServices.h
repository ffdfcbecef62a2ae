#pragma once

#include <cstdint>

namespace tamsel::platform {

/// The number of a sound; 1108 is the shutter.
using SystemSoundID = std::uint32_t;

/// The platform's own sounds. Thread-safe.
class AudioServices {
public:
    virtual ~AudioServices() = default;

    /// Suppresses the sound, or stops it; the next occasion is not affected.
    virtual void disposeSystemSoundID(SystemSoundID id) = 0;
};

} // namespace tamsel::platform
