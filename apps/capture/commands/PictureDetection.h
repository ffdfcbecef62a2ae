#pragma once

#include "options/Options.h"
#include "report/Console.h"

#include <optional>

namespace tamsel::capture {

/// Whether the host knows all kinds that are asked for.
[[nodiscard]] bool canDetect(const std::vector<MetadataObjectType>& kinds);

/// Looks for codes and faces in a picture file. Absent when the input is no picture.
[[nodiscard]] std::optional<ExitStatus> detectInPicture(const Options& options);

} // namespace tamsel::capture
