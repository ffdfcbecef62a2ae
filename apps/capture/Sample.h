#pragma once

#include "Console.h"

#include <tamsel/facade/types/CaptureSampleUpdate.h>

#include <string>

namespace tamsel::capture {

/// Its size, its way up and its place, in one line.
[[nodiscard]] std::string describeSample(const CaptureSampleUpdate& sample);

/// Writes a sample into a file and tells about it: an event, or a line. False when that failed, which has been told.
bool keepSample(Console& console, const CaptureSampleUpdate& sample, const std::string& file);

} // namespace tamsel::capture
