#pragma once

#include <formats/FlightRecording.h>

#include <iosfwd>

namespace tamsel::formats {

/// Writes a recording as a trace for Perfetto's viewer and chrome://tracing: the JSON of Chrome's trace events. Work on a
/// frame and other work of known length is a slice on its queue; all else is an instant.
void writeTrace(std::ostream& stream, const FlightRecording& recording);

} // namespace tamsel::formats
