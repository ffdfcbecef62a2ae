#pragma once

#include "report/Console.h"

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/FrameLedger.h>

namespace tamsel::capture {

/// The camera has gone away, and its session stopped.
[[nodiscard]] bool isCameraLost(const platform::FrameCounts& counts);

/// Tells an error after which the session cannot go on. False for one that does not matter: a live frame less, unless it was
/// the last.
[[nodiscard]] bool tellIfOver(Console& console, OvriSourceManager& manager, const SourceError& error);

} // namespace tamsel::capture
