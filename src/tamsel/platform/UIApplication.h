#pragma once

#include <cstdint>

namespace tamsel::platform {

/// The orientation of the device in which the application's interface is upright, by the home side as in
/// `AVCaptureVideoOrientation`.
enum class UIInterfaceOrientation : std::uint8_t {
    unknown = 0,
    portrait = 1,
    portraitUpsideDown = 2,
    landscapeRight = 3,
    landscapeLeft = 4,
};

/// The running application. Thread-safe.
class UIApplication {
public:
    virtual ~UIApplication() = default;

    [[nodiscard]] virtual UIInterfaceOrientation statusBarOrientation() const = 0;
};

} // namespace tamsel::platform
