#pragma once

#include "options/Options.h"

namespace tamsel::capture {

/// For a command that keeps what a camera sees: refuses a test pattern that nobody has asked for, with a `device` event that
/// says so. Throws `Unusable`.
void requireCamera(const GlobalOptions& options, bool usesFrontCamera);

/// Says that a test pattern is used when nobody has asked for it.
void noteTestPattern(const GlobalOptions& options, bool usesFrontCamera);

} // namespace tamsel::capture
