#pragma once

#include "Console.h"

#include <tamsel/facade/OvriSourceManager.h>

namespace tamsel::capture {

/// Tells an error after which the session cannot go on. False for one that does not matter: a live frame less, unless it was
/// the last.
[[nodiscard]] bool tellIfOver(Console& console, OvriSourceManager& manager, const SourceError& error);

} // namespace tamsel::capture
