#pragma once

#include <tamsel/facade/TamselSourceManagerProtocol.h>

#include <optional>

namespace tamsel {

/// The options of a camera session with types, because the dictionary ignores numbers of any other type than `double`.
/// Converts to the dictionary that `startSession` takes.
struct CameraOptions {
    /// Millimetres: at its start the camera zooms in once, so that an object of this size can be in focus.
    std::optional<double> minimumFocusObjectSize = std::nullopt;

    operator Configurations() const // NOLINT: implicit by intent
    {
        Configurations configurations;
        if (minimumFocusObjectSize)
            configurations["minimumFocusObjectSize"] = *minimumFocusObjectSize;
        return configurations;
    }
};

/// The same for `startMotionDetection`.
struct MotionOptions {
    std::optional<double> stabilityThreshold = std::nullopt; ///< radians per second (0.3)
    std::optional<double> stabilityDuration = std::nullopt; ///< seconds (0.8)
    std::optional<double> angle = std::nullopt; ///< degrees of pitch (45)

    operator Configurations() const // NOLINT: implicit by intent
    {
        Configurations configurations;
        if (stabilityThreshold)
            configurations["stabilityThreshold"] = *stabilityThreshold;
        if (stabilityDuration)
            configurations["stabilityDuration"] = *stabilityDuration;
        if (angle)
            configurations["angle"] = *angle;
        return configurations;
    }
};

} // namespace tamsel
