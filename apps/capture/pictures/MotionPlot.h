#pragma once

#include "options/Options.h"
#include "pictures/SvgPlot.h"
#include "report/MotionReport.h"

#include <formats/MotionLog.h>

#include <string>
#include <vector>

namespace tamsel::capture {

/// What a log says from a time on, and what was decided on it.
void drawMotion(SvgPlot& plot, const formats::MotionLog& log, double start, const MotionOptions& options,
    const std::vector<MotionVerdict>& verdicts);

/// The verdicts of one kind alone.
void drawVerdicts(
    SvgPlot& plot, MotionVerdict::Kind kind, const std::vector<MotionVerdict>& verdicts, double start);

/// A whole log and what was decided on it, as a picture.
[[nodiscard]] std::string plotOf(
    const formats::MotionLog& log, const MotionOptions& options, const std::vector<MotionVerdict>& verdicts);

} // namespace tamsel::capture
