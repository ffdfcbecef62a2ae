#include "pictures/SvgPlot.h"

#include "report/Utf8.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace tamsel::capture {

namespace {

// Across in per cent, so that the picture fills any width, and down in pixels, so that no text shrinks with it.
constexpr double left = 9;
constexpr double right = 96;
constexpr double panelHeight = 150;
constexpr double lineHeight = 18;
constexpr double stripHeight = 14;
constexpr double failsHeight = 4;
constexpr double gap = 18;
constexpr double curveWidth = 1000; ///< the units of a curve, which is stretched
constexpr double mostShown = 1e9; ///< so that scales stay finite

constexpr const char* textStyle = "<style>:root { color-scheme: light dark } text { fill: #4b525b }\n"
                                  "@media (prefers-color-scheme: dark) { text { fill: #b4bbc4 } }</style>\n";
constexpr const char* ink = "#757b83";
constexpr const char* holdsColour = "#2f855a";
constexpr const char* failsColour = "#b45309";
constexpr const char* markColour = "#e11d48";
constexpr std::array<const char*, 3> curveColours{"#3b82f6", "#d97706", "#a855f7"};

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

std::string label(double x, double y, const char* anchor, const std::string& text, const char* style = "")
{
    return formatted("<text x=\"%.2f%%\" y=\"%.1f\" text-anchor=\"%s\" %s>", x, y, anchor, style)
        .append(text)
        .append("</text>\n");
}

std::string line(double x1, double y1, double x2, double y2, const char* style, const char* colour = ink)
{
    return formatted("<line x1=\"%.2f%%\" y1=\"%.1f\" x2=\"%.2f%%\" y2=\"%.1f\" stroke=\"%s\" %s/>\n", x1, y1,
        x2, y2, colour, style);
}

/// The multiples of a nice step within a range.
std::vector<double> marks(const SvgPlot::Range& range, double count)
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

} // namespace

std::string SvgPlot::inColourOf(std::size_t curve, const std::string& text)
{
    return formatted("<tspan fill=\"%s\">", curveColours.at(curve)).append(text).append("</tspan>");
}

double SvgPlot::x(double time) const
{
    const double length = std::max(times_.high - times_.low, 1e-9);
    return left + (right - left) * std::clamp((time - times_.low) / length, 0.0, 1.0);
}

/// The highest and the lowest value of each half unit, so that a long log does not make a large file.
template <typename Y>
std::string SvgPlot::curve(const std::vector<Point>& points, Y y, const char* colour) const
{
    std::string path;
    const auto across
        = [&](const Point& point) { return (x(point.time) - left) / (right - left) * curveWidth; };
    const auto add = [&](const Point& point) {
        path += formatted("%s%.1f %.1f", path.empty() ? "M" : " ", across(point), y(point.value));
    };
    for (std::size_t first = 0; first < points.size();) {
        std::size_t last = first;
        std::size_t lowest = first;
        std::size_t highest = first;
        for (; last < points.size() && across(points[last]) - across(points[first]) < 0.5; ++last) {
            lowest = points[last].value < points[lowest].value ? last : lowest;
            highest = points[last].value > points[highest].value ? last : highest;
        }
        add(points[std::min(lowest, highest)]);
        if (lowest != highest)
            add(points[std::max(lowest, highest)]);
        first = std::max(last, first + 1);
    }
    return formatted("<path fill=\"none\" stroke=\"%s\" stroke-width=\"1.4\" "
                     "vector-effect=\"non-scaling-stroke\" d=\"",
        colour)
        .append(path)
        .append("\"/>\n");
}

void SvgPlot::panel(const std::string& name, const std::string& note, std::vector<std::vector<Point>> curves,
    std::vector<double> levels)
{
    for (auto& curve : curves) {
        std::erase_if(
            curve, [&](const Point& point) { return point.time < times_.low || point.time > times_.high; });
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
    const double margin = values.high > values.low ? (values.high - values.low) * 0.05 : 1;
    values = {values.low - margin, values.high + margin};
    top_ += top_ > 0 ? gap : 0;
    for (const std::string& text : {name, note}) {
        if (!text.empty())
            body_ += label(left, top_ += lineHeight, "start", text);
    }
    top_ += 12;
    const auto down
        = [&](double value) { return panelHeight * (values.high - value) / (values.high - values.low); };
    for (const double mark : marks(values, 5)) {
        body_ += line(left, top_ + down(mark), right, top_ + down(mark), "stroke-opacity=\"0.25\"");
        body_ += label(0.5, top_ + down(mark) + 4, "start", formatted("%.6g", mark));
    }
    body_ += formatted(
        "<svg x=\"%.2f%%\" y=\"%.1f\" width=\"%.2f%%\" height=\"%.1f\" viewBox=\"0 0 %.0f %.1f\" "
        "preserveAspectRatio=\"none\">\n",
        left, top_, right - left, panelHeight, curveWidth, panelHeight);
    for (std::size_t index = 0; index < curves.size(); ++index)
        body_ += curve(curves[index], down, curveColours[index % curveColours.size()]);
    body_ += "</svg>\n";
    for (const double level : levels)
        body_ += line(left, top_ + down(level), right, top_ + down(level),
            "stroke-width=\"1.5\" stroke-dasharray=\"7 5\"");
    top_ += panelHeight + 6;
}

void SvgPlot::bar(
    double from, double to, std::optional<bool> holds, const char* style, const std::string& title)
{
    const double height = holds.value_or(false) ? stripHeight : failsHeight;
    const char* colour = !holds ? ink : *holds ? holdsColour : failsColour;
    // The stroke shows what has no width.
    body_ += formatted("<rect x=\"%.2f%%\" y=\"%.1f\" width=\"%.2f%%\" height=\"%.1f\" fill=\"%s\" "
                       "stroke=\"%s\" stroke-width=\"0.5\" %s><title>",
                 from, top_ + stripHeight - height, to - from, height, colour, colour, style)
        + title + "</title></rect>\n";
}

void SvgPlot::strip(const std::string& name, const std::vector<Stretch>& stretches)
{
    const auto word = [](std::optional<bool> holds) { return !holds ? "unknown" : *holds ? "yes" : "no"; };
    std::optional<bool> then;
    for (const Stretch& stretch : stretches) {
        if (stretch.from <= moment_.time)
            then = stretch.holds;
    }
    body_ += label(left, top_ += lineHeight, "start",
        name + "; at the " + moment_.name + ": <tspan font-weight=\"bold\">" + word(then) + "</tspan>");
    top_ += 6;
    for (std::size_t index = 0; index < stretches.size(); ++index) {
        const auto [from, holds] = stretches[index];
        if (from > times_.high)
            break;
        const bool isLast = index + 1 == stretches.size() || stretches[index + 1].from > times_.high;
        const double until = isLast ? times_.high : stretches[index + 1].from;
        bar(x(from), x(until), holds, "",
            name + formatted(", %.2f s to %.2f s: ", std::max(from, times_.low), until) + word(holds));
        if (isLast)
            bar(right, 100, holds, "opacity=\"0.5\"", name + " at the end: " + word(holds));
    }
    top_ += stripHeight + 6;
}

std::string SvgPlot::finish()
{
    const double axis = top_ + 2;
    for (const double mark : marks(times_, 6)) {
        body_ += line(x(mark), axis, x(mark), axis + 6, "");
        body_ += label(x(mark), axis + 20, x(mark) > right - 2 ? "end" : "middle", formatted("%.6g s", mark));
    }
    double height = axis + 28;
    if (isMarked_) {
        const double at = x(moment_.time);
        body_ += line(at, lineHeight + 8, at, axis + 26, "stroke-width=\"1.5\"", markColour);
        body_ += label(at, axis + 40, at > 50 ? "end" : "start",
            formatted("%s at %.2f s", moment_.name.c_str(), moment_.time),
            formatted("font-weight=\"bold\" style=\"fill:%s\"", markColour).c_str());
        height += 20;
    }
    return formatted("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"100%%\" height=\"%.0f\" "
                     "font-family=\"sans-serif\" font-size=\"12\">\n",
        height)
        .append(textStyle)
        .append(body_)
        .append("</svg>\n");
}

} // namespace tamsel::capture
