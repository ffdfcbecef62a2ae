#pragma once

#include "report/Console.h"

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/FrameLedger.h>

namespace tamsel::capture {

/// The camera has gone away, and its session stopped.
[[nodiscard]] bool isCameraLost(const platform::FrameCounts& counts);

/// Reports an error that ends the session. False for one that does not matter: a dropped live frame of a camera that still
/// runs.
[[nodiscard]] bool reportIfOver(Console& console, OvriSourceManager& manager, const SourceError& error);

} // namespace tamsel::capture
