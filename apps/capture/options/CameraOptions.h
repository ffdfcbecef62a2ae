#pragma once

#include "options/OptionReader.h"
#include "options/Options.h"

#include <string_view>

namespace tamsel::capture {

// One option or argument each, of the commands that run a camera.

void readFramesOption(OptionReader& reader, std::string_view argument, Options& options);
void readStillOption(OptionReader& reader, std::string_view argument, Options& options);
void readRecordOption(OptionReader& reader, std::string_view argument, Options& options);
void readCaptureOption(OptionReader& reader, std::string_view argument, Options& options);
void readStatusOption(OptionReader& reader, std::string_view argument, Options& options);
/// How motion verdicts are reached; false for any other option.
bool readVerdictOption(OptionReader& reader, std::string_view argument, MotionOptions& motion);

// Whether all that has been read goes together.

void checkRecording(OptionReader& reader, const Options& options);
void checkCapture(OptionReader& reader, const Options& options);

} // namespace tamsel::capture
