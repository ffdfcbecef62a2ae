#pragma once

#include "Console.h"
#include "Options.h"

namespace tamsel::capture {

/// Completes a recording whose program was killed.
[[nodiscard]] ExitStatus repairRecording(const Options& options);

} // namespace tamsel::capture
