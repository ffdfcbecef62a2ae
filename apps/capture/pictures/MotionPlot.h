#pragma once

#include "options/Options.h"
#include "pictures/SvgPlot.h"
#include "report/MotionReport.h"

#include <formats/MotionLog.h>

#include <string>
#include <vector>

namespace tamsel::capture {

/// The curves of a log from a time on, if there is one, and the verdicts.
void drawMotion(SvgPlot& plot, const formats::MotionLog* log, double start, const MotionOptions& options,
    const std::vector<MotionVerdict>& verdicts);

/// A log and its verdicts, as a picture.
[[nodiscard]] std::string plotOf(
    const formats::MotionLog& log, const MotionOptions& options, const std::vector<MotionVerdict>& verdicts);

} // namespace tamsel::capture
