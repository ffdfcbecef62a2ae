#include "MotionPlot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <numbers>
#include <optional>
#include <utility>

namespace tamsel::capture {

using engine::MotionLog;
using Kind = MotionVerdict::Kind;

namespace {

constexpr double width = 960;
constexpr double left = 64;
constexpr double right = 932;
constexpr double panelHeight = 170;
constexpr double stripHeight = 22;
constexpr double gap = 34;
constexpr double mostShown = 1e9; ///< so that scales stay finite
constexpr double degrees = 180 / std::numbers::pi;

constexpr const char* ink = "#757b83";
constexpr const char* holdsColour = "#2f855a";
constexpr const char* failsColour = "#b45309";
constexpr std::array<const char*, 3> axisColours{"#3b82f6", "#d97706", "#a855f7"};

struct Point {
    double time;
    double value;
};

__attribute__((format(printf, 1, 2))) std::string formatted(const char* format, ...)
{
    std::array<char, 512> text{};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return text.data();
}

/// A step of 1, 2 or 5 times a power of ten that divides a range into about `count` parts.
double niceStep(double range, double count)
{
    const double raw = range / count;
    const double power = std::pow(10, std::floor(std::log10(raw)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (raw <= factor * power)
            return factor * power;
    }
    return 10 * power;
}

std::string label(double x, double y, const char* anchor, const std::string& text, const char* colour = ink)
{
    return formatted("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\" fill=\"%s\">", x, y, anchor, colour)
        .append(text)
        .append("</text>\n");
}

std::string line(double x1, double y1, double x2, double y2, const char* style)
{
    return formatted("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"%s\" %s/>\n", x1, y1, x2,
        y2, ink, style);
}

struct Range {
    double low;
    double high;
};

/// The multiples of a nice step within a range.
std::vector<double> marks(const Range& range, double count)
{
    const double step = niceStep(std::max(range.high - range.low, 1e-9), count);
    const double start = std::ceil(range.low / step);
    std::vector<double> result;
    for (int index = 0; index < 3 * static_cast<int>(count); ++index) {
        const double mark = (start + index) * step;
        if (mark > range.high)
            break;
        result.push_back(mark == 0 ? 0 : mark); // without a sign
    }
    return result;
}

/// The picture, from the top down.
class Plot {
public:
    explicit Plot(Range times) : times_(times) { }

    /// Curves with a scale, and level lines where a verdict turns.
    void panel(const std::string& name, std::vector<std::vector<Point>> curves, std::vector<double> levels)
    {
        for (auto& curve : curves) {
            for (Point& point : curve)
                point.value = std::clamp(point.value, -mostShown, mostShown);
        }
        for (double& level : levels)
            level = std::clamp(level, -mostShown, mostShown);
        Range values{0, 0};
        for (const auto& curve : curves) {
            for (const Point& point : curve)
                values = {std::min(values.low, point.value), std::max(values.high, point.value)};
        }
        for (const double level : levels)
            values = {std::min(values.low, level), std::max(values.high, level)};
        const double margin = std::max((values.high - values.low) * 0.05, 1e-9);
        values = {values.low - margin, values.high + margin};
        body_ += label(left, top_ + 12, "start", name);
        top_ += 20;
        const auto y = [&](double value) {
            return top_ + panelHeight * (values.high - value) / (values.high - values.low);
        };
        for (const double mark : marks(values, 5)) {
            body_ += line(left, y(mark), right, y(mark), "stroke-opacity=\"0.25\"");
            body_ += label(left - 8, y(mark) + 4, "end", formatted("%.6g", mark));
        }
        for (std::size_t index = 0; index < curves.size(); ++index)
            body_ += curve(curves[index], y, axisColours[index % axisColours.size()]);
        for (const double level : levels)
            body_ += line(left, y(level), right, y(level), "stroke-width=\"1.5\" stroke-dasharray=\"7 5\"");
        top_ += panelHeight + 6;
    }

    /// What a verdict was, over time.
    void strip(Kind kind, const std::vector<MotionVerdict>& verdicts)
    {
        std::optional<MotionVerdict> current;
        double since = times_.low;
        const auto close = [&](double until) {
            const double from = x(since);
            const double to = std::max(x(until), from);
            const char* colour = !current ? ink : current->holds ? holdsColour : failsColour;
            body_ += formatted("<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"%s\"%s/>\n",
                from, top_, to - from, stripHeight, colour, current ? "" : " fill-opacity=\"0.25\"");
            const std::string text = current ? describe(kind, current->holds) : "no verdict yet";
            if (to - from > 7 * static_cast<double>(text.size()))
                body_ += label((from + to) / 2, top_ + 15, "middle", text, current ? "#ffffff" : ink);
        };
        for (const MotionVerdict& verdict : verdicts) {
            if (verdict.kind != kind)
                continue;
            close(verdict.time);
            since = verdict.time;
            current = verdict;
        }
        close(times_.high);
        top_ += stripHeight + gap;
    }

    void skip() { top_ += gap; }

    [[nodiscard]] std::string finish()
    {
        const double axis = top_ - gap + 6;
        for (const double mark : marks(times_, 10)) {
            body_ += line(x(mark), axis, x(mark), axis + 6, "");
            body_ += label(x(mark), axis + 20, "middle", formatted("%.6g s", mark));
        }
        const double height = axis + 30;
        return formatted("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %.0f %.0f\" width=\"%.0f\" "
                         "height=\"%.0f\" font-family=\"sans-serif\" font-size=\"13\">\n",
            width, height, width, height)
            .append(body_)
            .append("</svg>\n");
    }

private:
    [[nodiscard]] double x(double time) const
    {
        const double length = std::max(times_.high - times_.low, 1e-9);
        return left + (right - left) * std::clamp((time - times_.low) / length, 0.0, 1.0);
    }

    /// The highest and the lowest value of each half pixel, so that a long log does not make a large file.
    template <typename Y> std::string curve(const std::vector<Point>& points, Y y, const char* colour) const
    {
        std::string path;
        const auto add = [&](const Point& point) {
            path += formatted("%s%.1f %.1f", path.empty() ? "M" : " ", x(point.time), y(point.value));
        };
        for (std::size_t first = 0; first < points.size();) {
            std::size_t last = first;
            std::size_t lowest = first;
            std::size_t highest = first;
            for (; last < points.size() && x(points[last].time) - x(points[first].time) < 0.5; ++last) {
                lowest = points[last].value < points[lowest].value ? last : lowest;
                highest = points[last].value > points[highest].value ? last : highest;
            }
            add(points[std::min(lowest, highest)]);
            if (lowest != highest)
                add(points[std::max(lowest, highest)]);
            first = std::max(last, first + 1);
        }
        return formatted("<path fill=\"none\" stroke=\"%s\" stroke-width=\"1.2\" d=\"", colour)
            .append(path)
            .append("\"/>\n");
    }

    Range times_;
    std::string body_;
    double top_ = 6;
};

template <typename Value> std::vector<Point> curveOf(const MotionLog& log, Value value)
{
    std::vector<Point> points;
    points.reserve(log.rows().size());
    for (const MotionLog::Row& row : log.rows())
        points.push_back({log.firstTime() + std::chrono::duration<double>(row.offset).count(), value(row)});
    return points;
}

bool isToldOf(Kind kind, const std::vector<MotionVerdict>& verdicts)
{
    return std::ranges::find(verdicts, kind, &MotionVerdict::kind) != verdicts.end();
}

std::string inColour(const char* text, const char* colour)
{
    return formatted("<tspan fill=\"%s\">%s</tspan>", colour, text);
}

} // namespace

std::string drawMotion(
    const MotionLog& log, const MotionOptions& options, const std::vector<MotionVerdict>& verdicts)
{
    Plot plot({log.firstTime(), log.firstTime() + std::chrono::duration<double>(log.length()).count()});

    const bool hasStability = isToldOf(Kind::stability, verdicts);
    const std::string legend = std::string("rotation rate, rad/s: ")
                                   .append(inColour("x", axisColours[0]))
                                   .append(", ")
                                   .append(inColour("y", axisColours[1]))
                                   .append(", ")
                                   .append(inColour("z", axisColours[2]));
    plot.panel(hasStability ? legend
                + formatted(
                    "; dashed: the threshold of %.4g, as seen from rest (the verdict compares with the "
                    "oldest sample of %.4g s)",
                    options.threshold, options.duration)
                            : legend,
        {curveOf(log, [](const MotionLog::Row& row) { return row.rotationRate.x; }),
            curveOf(log, [](const MotionLog::Row& row) { return row.rotationRate.y; }),
            curveOf(log, [](const MotionLog::Row& row) { return row.rotationRate.z; })},
        hasStability ? std::vector{options.threshold, -options.threshold} : std::vector<double>{});
    if (hasStability)
        plot.strip(Kind::stability, verdicts);
    else
        plot.skip();
    if (!log.hasPitch())
        return plot.finish();
    const bool hasFacing = isToldOf(Kind::facingAngle, verdicts);
    plot.panel(
        hasFacing ? formatted("pitch, degrees; dashed: %.4g, far enough", options.angle) : "pitch, degrees",
        {curveOf(log, [](const MotionLog::Row& row) { return row.pitch * degrees; })},
        hasFacing ? std::vector{options.angle} : std::vector<double>{});
    if (hasFacing)
        plot.strip(Kind::facingAngle, verdicts);
    else
        plot.skip();
    return plot.finish();
}

} // namespace tamsel::capture
