#pragma once

#include <tamsel/platform/core/TamselCameraSettings.h>

#include <mutex>
#include <utility>

namespace tamsel::platform {

/// What the product's user has set for the whole product. Thread-safe.
class Tamsel {
public:
    [[nodiscard]] TamselCameraSettings cameraSettings() const
    {
        const std::lock_guard lock(guard_);
        return cameraSettings_;
    }
    void setCameraSettings(TamselCameraSettings settings)
    {
        const std::lock_guard lock(guard_);
        std::swap(cameraSettings_, settings);
    }

private:
    mutable std::mutex guard_;
    TamselCameraSettings cameraSettings_;
};

} // namespace tamsel::platform
