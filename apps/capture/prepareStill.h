#pragma once

#include "Environment.h"
#include "Waiter.h"
#include "options/Options.h"
#include "report/Console.h"

#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/core/TamselCameraSettings.h>

namespace tamsel::capture {

/// A screen turns its preview with its interface; a still is taken in the orientation of the preview.
void turnPreview(const platform::UIView& view, platform::UIInterfaceOrientation orientation);

/// Waits a while for a location where the options ask for one, and reports when there is none.
void waitForLocation(const StillOptions& options, Environment& environment, Waiter& waiter, Console& console);

/// Reports what the camera has not: a flash, a torch.
void reportWhatIsMissing(const StillOptions& options, Environment& environment, Console& console);

/// With the product's settings where the options name none.
[[nodiscard]] platform::TamselCameraSettings settingsFor(const StillOptions& options);

} // namespace tamsel::capture
