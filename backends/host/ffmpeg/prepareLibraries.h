#pragma once

namespace tamsel::host {

/// Must be called before anything else of the FFmpeg libraries. Registers the devices of libavdevice and silences the
/// libraries, which otherwise write to the standard error stream of the process; failures are returned as errors.
void prepareLibraries();

} // namespace tamsel::host
