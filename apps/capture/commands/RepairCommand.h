#pragma once

#include "options/Options.h"
#include "report/Console.h"

namespace tamsel::capture {

/// Completes a recording whose program was killed.
[[nodiscard]] ExitStatus repairRecording(const Options& options);

} // namespace tamsel::capture
