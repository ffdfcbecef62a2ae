#pragma once

#include "Environment.h"
#include "Waiter.h"
#include "options/Options.h"
#include "report/Console.h"

#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/core/TamselCameraSettings.h>

namespace tamsel::capture {

/// A screen turns its preview with its interface; a still is taken the way up of the preview.
void turnPreview(const platform::UIView& view, platform::UIInterfaceOrientation orientation);

/// Where the options ask for a place, and for a while; tells when there is none.
void waitForLocation(const Options& options, Environment& environment, Waiter& waiter, Console& console);

/// Tells which of the wishes the camera cannot fulfil.
void tellWhatIsMissing(const Options& options, Environment& environment, Console& console);

/// The product's, where the options leave it open.
[[nodiscard]] platform::TamselCameraSettings settingsFor(const StillOptions& options);

} // namespace tamsel::capture
