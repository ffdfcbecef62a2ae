#pragma once

#include "MotionTeller.h"
#include "Options.h"

#include <engine/motion/MotionLog.h>

#include <string>
#include <vector>

namespace tamsel::capture {

/// A log and what was decided on it, as an SVG picture without a background, in colours that stand out on a light and on
/// a dark page alike.
[[nodiscard]] std::string drawMotion(
    const engine::MotionLog& log, const MotionOptions& options, const std::vector<MotionVerdict>& verdicts);

} // namespace tamsel::capture
