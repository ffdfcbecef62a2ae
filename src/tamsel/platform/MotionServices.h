#pragma once

#include <tamsel/platform/CMMotionManager.h>

#include <memory>

namespace tamsel::platform {

/// The motion sensors of the place where the library runs. Thread-safe.
class MotionServices {
public:
    virtual ~MotionServices() = default;

    /// A manager whose streams do not run.
    [[nodiscard]] virtual std::shared_ptr<CMMotionManager> makeMotionManager() = 0;
};

} // namespace tamsel::platform
