#include "pictures/MotionPlot.h"

#include "report/Utf8.h"
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

bool has(Kind kind, const std::vector<MotionVerdict>& verdicts)
{
    return std::ranges::find(verdicts, kind, &MotionVerdict::kind) != verdicts.end();
}

void drawRotationRate(SvgPlot& plot, const MotionLog& log, double start, const MotionOptions& options,
    const std::vector<MotionVerdict>& verdicts)
{
    const bool hasStability = has(Kind::stability, verdicts);
    plot.panel("rotation rate, rad/s: " + SvgPlot::inColourOf(0, "x") + ", " + SvgPlot::inColourOf(1, "y")
            + ", " + SvgPlot::inColourOf(2, "z"),
        hasStability ? formatted("dashed: a change of %.4g within %.4g s, from rest", options.threshold,
                           options.duration)
                     : "",
        {curveOf(log, start, [](const Row& row) { return row.rotationRate->x; }),
            curveOf(log, start, [](const Row& row) { return row.rotationRate->y; }),
            curveOf(log, start, [](const Row& row) { return row.rotationRate->z; })},
        hasStability ? std::vector{options.threshold, -options.threshold} : std::vector<double>{});
}

void drawPitch(SvgPlot& plot, const MotionLog& log, double start, const MotionOptions& options,
    const std::vector<MotionVerdict>& verdicts)
{
    const bool hasFacing = has(Kind::facingAngle, verdicts);
    plot.panel("pitch, degrees", hasFacing ? formatted("dashed: %.4g, tilted far enough", options.angle) : "",
        {curveOf(log, start, [](const Row& row) { return *row.pitch * degrees; })},
        hasFacing ? std::vector{options.angle} : std::vector<double>{});
}

void drawVerdicts(SvgPlot& plot, Kind kind, const std::vector<MotionVerdict>& verdicts, double start)
{
    if (!has(kind, verdicts))
        return;
    std::vector<SvgPlot::Stretch> stretches{{start, std::nullopt}};
    for (const MotionVerdict& verdict : verdicts) {
        if (verdict.kind == kind)
            stretches.push_back({verdict.time, verdict.holds});
    }
    plot.strip(describe(kind, true), stretches);
}

} // namespace

void drawMotion(SvgPlot& plot, const MotionLog* log, double start, const MotionOptions& options,
    const std::vector<MotionVerdict>& verdicts)
{
    if (log && log->hasRotationRate())
        drawRotationRate(plot, *log, start, options, verdicts);
    drawVerdicts(plot, Kind::stability, verdicts, start);
    if (log && log->hasPitch())
        drawPitch(plot, *log, start, options, verdicts);
    drawVerdicts(plot, Kind::facingAngle, verdicts, start);
}

std::string plotOf(
    const MotionLog& log, const MotionOptions& options, const std::vector<MotionVerdict>& verdicts)
{
    SvgPlot plot({log.firstTime(), log.firstTime() + seconds(log.length())});
    drawMotion(plot, &log, log.firstTime(), options, verdicts);
    return plot.finish();
}

} // namespace tamsel::capture
