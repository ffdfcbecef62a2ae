#pragma once

#include "Environment.h"
#include "Waiter.h"
#include "options/Options.h"
#include "report/Console.h"

#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/core/TamselCameraSettings.h>

namespace tamsel::capture {

/// Rotates the preview as a screen does. A still has the orientation of the preview.
void turnPreview(const platform::UIView& view, platform::UIInterfaceOrientation orientation);

/// Waits for the location that the options name, up to a limit. Reports when there is none.
void waitForLocation(const StillOptions& options, Environment& environment, Waiter& waiter, Console& console);

/// Reports a requested flash or torch that the camera does not have.
void reportWhatIsMissing(const StillOptions& options, Environment& environment, Console& console);

/// The settings of the library, changed by the options.
[[nodiscard]] platform::TamselCameraSettings settingsFor(const StillOptions& options);

} // namespace tamsel::capture
