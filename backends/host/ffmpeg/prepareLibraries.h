#pragma once

namespace tamsel::host {

/// Before anything else is done with the FFmpeg libraries: makes the devices of libavdevice known, and asks the libraries,
/// which write on the standard error stream of the whole process, to be silent. What matters is returned as an error.
void prepareLibraries();

} // namespace tamsel::host
