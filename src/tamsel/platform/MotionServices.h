#pragma once

#include <tamsel/platform/CMMotionManager.h>

#include <memory>

namespace tamsel::platform {

/// The motion sensors of the platform. Thread-safe.
class MotionServices {
public:
    virtual ~MotionServices() = default;

    /// A manager whose streams are stopped.
    [[nodiscard]] virtual std::shared_ptr<CMMotionManager> makeMotionManager() = 0;
};

} // namespace tamsel::platform
