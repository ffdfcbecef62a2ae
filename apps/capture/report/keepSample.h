#pragma once

#include "report/Console.h"

#include <tamsel/facade/types/CaptureSampleUpdate.h>

#include <string>

namespace tamsel::capture {

/// Writes a sample into a file and tells about it by the name that the file will have: an event, or a line. Returns its size,
/// its orientation and its place in one line; empty when it could not be written, which has been reported.
std::string keepSample(
    Console& console, const CaptureSampleUpdate& sample, const std::string& file, const std::string& name);

} // namespace tamsel::capture
