#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/platform/core/TamselCameraSettings.h>

#include <utility>

namespace tamsel::platform {

/// The user's settings for the whole product. Thread-safe.
class Tamsel {
public:
    [[nodiscard]] TamselCameraSettings cameraSettings() const
    {
        const MutexLock lock(guard_);
        return cameraSettings_;
    }
    void setCameraSettings(TamselCameraSettings settings)
    {
        const MutexLock lock(guard_);
        std::swap(cameraSettings_, settings);
    }

private:
    mutable Mutex guard_;
    TamselCameraSettings cameraSettings_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::platform
