#include "pictures/MotionPlot.h"

#include "seconds.h"

#include <algorithm>
#include <numbers>
#include <utility>

namespace tamsel::capture {

using formats::MotionLog;
using Kind = MotionVerdict::Kind;
using Row = MotionLog::Row;

namespace {

constexpr double degrees = 180 / std::numbers::pi;

template <typename Value> std::vector<SvgPlot::Point> curveOf(const MotionLog& log, double start, Value value)
{
    std::vector<SvgPlot::Point> points;
    points.reserve(log.rows().size());
    for (const Row& row : log.rows())
        points.push_back({start + seconds(row.offset), value(row)});
    return points;
}

bool isToldOf(Kind kind, const std::vector<MotionVerdict>& verdicts)
{
    return std::ranges::find(verdicts, kind, &MotionVerdict::kind) != verdicts.end();
}

/// The verdicts, or as much room as they would take.
void drawVerdictsIfAny(SvgPlot& plot, Kind kind, const std::vector<MotionVerdict>& verdicts, double start)
{
    if (isToldOf(kind, verdicts))
        drawVerdicts(plot, kind, verdicts, start);
    else
        plot.skip();
}

void drawRotationRate(SvgPlot& plot, const MotionLog& log, double start, const MotionOptions& options,
    const std::vector<MotionVerdict>& verdicts)
{
    std::string legend = "rotation rate, rad/s: " + SvgPlot::inColourOf(0, "x") + ", "
        + SvgPlot::inColourOf(1, "y") + ", " + SvgPlot::inColourOf(2, "z");
    std::vector<double> thresholds;
    if (isToldOf(Kind::stability, verdicts)) {
        legend
            += formatted("; dashed: the threshold of %.4g, as seen from rest (the verdict compares with the "
                         "oldest sample of %.4g s)",
                options.threshold, options.duration);
        thresholds = {options.threshold, -options.threshold};
    }
    plot.panel(legend,
        {curveOf(log, start, [](const Row& row) { return row.rotationRate->x; }),
            curveOf(log, start, [](const Row& row) { return row.rotationRate->y; }),
            curveOf(log, start, [](const Row& row) { return row.rotationRate->z; })},
        thresholds);
    drawVerdictsIfAny(plot, Kind::stability, verdicts, start);
}

void drawPitch(SvgPlot& plot, const MotionLog& log, double start, const MotionOptions& options,
    const std::vector<MotionVerdict>& verdicts)
{
    const bool hasFacing = isToldOf(Kind::facingAngle, verdicts);
    plot.panel(
        hasFacing ? formatted("pitch, degrees; dashed: %.4g, far enough", options.angle) : "pitch, degrees",
        {curveOf(log, start, [](const Row& row) { return *row.pitch * degrees; })},
        hasFacing ? std::vector{options.angle} : std::vector<double>{});
    drawVerdictsIfAny(plot, Kind::facingAngle, verdicts, start);
}

} // namespace

void drawVerdicts(SvgPlot& plot, Kind kind, const std::vector<MotionVerdict>& verdicts, double start)
{
    std::vector<SvgPlot::Stretch> stretches{{start, "no verdict yet", std::nullopt}};
    for (const MotionVerdict& verdict : verdicts) {
        if (verdict.kind == kind)
            stretches.push_back({verdict.time, describe(kind, verdict.holds), verdict.holds});
    }
    plot.strip(stretches);
}

void drawMotion(SvgPlot& plot, const MotionLog& log, double start, const MotionOptions& options,
    const std::vector<MotionVerdict>& verdicts)
{
    if (log.hasRotationRate())
        drawRotationRate(plot, log, start, options, verdicts);
    if (log.hasPitch())
        drawPitch(plot, log, start, options, verdicts);
}

std::string plotOf(
    const MotionLog& log, const MotionOptions& options, const std::vector<MotionVerdict>& verdicts)
{
    SvgPlot plot({log.firstTime(), log.firstTime() + seconds(log.length())});
    drawMotion(plot, log, log.firstTime(), options, verdicts);
    return plot.finish();
}

} // namespace tamsel::capture
