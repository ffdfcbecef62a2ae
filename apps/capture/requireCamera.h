#pragma once

#include "options/Options.h"

namespace tamsel::capture {

/// For a command that saves what a camera captures: refuses a test pattern unless it was requested, with a `device` event.
/// Throws `Unusable`.
void requireCamera(const GlobalOptions& options, bool usesFrontCamera);

/// Reports a test pattern that is used because there is no camera.
void noteTestPattern(const GlobalOptions& options, bool usesFrontCamera);

} // namespace tamsel::capture
