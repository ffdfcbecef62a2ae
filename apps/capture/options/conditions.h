#pragma once

#include "options/values.h"

#include <tamsel/client/CaptureCondition.h>

#include <string>
#include <vector>

namespace tamsel::capture {

/// "still,tilted,code:pdf417,face"; "none" for nothing.
[[nodiscard]] Parsed<std::vector<CaptureCondition>> readConditions(const std::string& given);

} // namespace tamsel::capture
