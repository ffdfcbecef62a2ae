#pragma once

#include "report/Console.h"

#include <tamsel/facade/OvriSourceManager.h>

namespace tamsel::capture {

/// Reports an error that ends the session. False for a dropped frame of a camera that still runs.
[[nodiscard]] bool reportIfOver(Console& console, OvriSourceManager& manager, const SourceError& error);

} // namespace tamsel::capture
