#pragma once

#include "report/Console.h"

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/FrameLedger.h>

namespace tamsel::capture {

/// Whether the camera was lost, which stops its session.
[[nodiscard]] bool isCameraLost(const platform::FrameCounts& counts);

/// Reports an error that ends the session. False for a dropped frame of a camera that still runs.
[[nodiscard]] bool reportIfOver(Console& console, OvriSourceManager& manager, const SourceError& error);

} // namespace tamsel::capture
