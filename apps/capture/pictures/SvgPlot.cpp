#include "pictures/SvgPlot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace tamsel::capture {

namespace {

constexpr double width = 960;
constexpr double left = 64;
constexpr double right = 932;
constexpr double panelHeight = 170;
constexpr double stripHeight = 22;
constexpr double gap = 34;
constexpr double mostShown = 1e9; ///< so that scales stay finite

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

std::string label(double x, double y, const char* anchor, const std::string& text, const char* colour = ink)
{
    return formatted("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\" fill=\"%s\">", x, y, anchor, colour)
        .append(text)
        .append("</text>\n");
}

std::string line(double x1, double y1, double x2, double y2, const char* style, const char* colour = ink)
{
    return formatted("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"%s\" %s/>\n", x1, y1, x2,
        y2, colour, style);
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

std::string formatted(const char* format, ...)
{
    std::array<char, 512> text{};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return text.data();
}

std::string SvgPlot::inColourOf(std::size_t curve, const std::string& text)
{
    return formatted("<tspan fill=\"%s\">", curveColours.at(curve)).append(text).append("</tspan>");
}

double SvgPlot::x(double time) const
{
    const double length = std::max(times_.high - times_.low, 1e-9);
    return left + (right - left) * std::clamp((time - times_.low) / length, 0.0, 1.0);
}

/// The highest and the lowest value of each half pixel, so that a long log does not make a large file.
template <typename Y>
std::string SvgPlot::curve(const std::vector<Point>& points, Y y, const char* colour) const
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

void SvgPlot::panel(
    const std::string& name, std::vector<std::vector<Point>> curves, std::vector<double> levels)
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
        body_ += curve(curves[index], y, curveColours[index % curveColours.size()]);
    for (const double level : levels)
        body_ += line(left, y(level), right, y(level), "stroke-width=\"1.5\" stroke-dasharray=\"7 5\"");
    top_ += panelHeight + 6;
}

void SvgPlot::strip(const std::vector<Stretch>& stretches)
{
    for (std::size_t index = 0; index < stretches.size(); ++index) {
        const Stretch& stretch = stretches[index];
        if (stretch.from >= times_.high)
            break;
        const double until = index + 1 < stretches.size() ? stretches[index + 1].from : times_.high;
        const double from = x(stretch.from);
        const double to = std::max(x(until), from);
        const char* colour = !stretch.holds ? ink : *stretch.holds ? holdsColour : failsColour;
        body_ += formatted("<rect x=\"%.1f\" y=\"%.1f\" width=\"%.1f\" height=\"%.1f\" fill=\"%s\"%s/>\n",
            from, top_, to - from, stripHeight, colour, stretch.holds ? "" : " fill-opacity=\"0.25\"");
        if (to - from > 7 * static_cast<double>(stretch.text.size()))
            body_
                += label((from + to) / 2, top_ + 15, "middle", stretch.text, stretch.holds ? "#ffffff" : ink);
    }
    top_ += stripHeight + gap;
}

void SvgPlot::skip()
{
    top_ += gap;
}

void SvgPlot::mark(double time, const std::string& text)
{
    marks_.push_back({time, text});
}

std::string SvgPlot::finish()
{
    const double axis = top_ - gap + 6;
    for (const double mark : marks(times_, 10)) {
        body_ += line(x(mark), axis, x(mark), axis + 6, "");
        body_ += label(x(mark), axis + 20, "middle", formatted("%.6g s", mark));
    }
    for (const Mark& mark : marks_) {
        body_ += line(x(mark.time), 4, x(mark.time), axis + 26, "stroke-width=\"1.5\"", markColour);
        const bool isRight = x(mark.time) > (left + right) / 2;
        body_ += label(
            x(mark.time) + (isRight ? -5 : 5), axis + 36, isRight ? "end" : "start", mark.text, markColour);
    }
    const double height = axis + (marks_.empty() ? 30 : 46);
    return formatted("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %.0f %.0f\" width=\"%.0f\" "
                     "height=\"%.0f\" font-family=\"sans-serif\" font-size=\"13\">\n",
        width, height, width, height)
        .append(body_)
        .append("</svg>\n");
}

} // namespace tamsel::capture
