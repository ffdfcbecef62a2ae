#pragma once

#include "report/Console.h"

#include <tamsel/facade/types/CaptureSampleUpdate.h>

#include <string>

namespace tamsel::capture {

/// Writes a sample to a file and reports it, as an event or a line, by the name that the file will have. Returns its size,
/// orientation and location in one line; empty, and reported, when it could not be written.
std::string keepSample(
    Console& console, const CaptureSampleUpdate& sample, const std::string& file, const std::string& name);

} // namespace tamsel::capture
