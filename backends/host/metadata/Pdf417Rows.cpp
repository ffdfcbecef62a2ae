#include <host/metadata/Pdf417Rows.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <optional>
#include <vector>

namespace tamsel::host {

namespace {

/// Modules of the start pattern and of every codeword.
constexpr int patternModules = 17;
/// The bars and spaces of the start pattern, in modules, before which a codeword begins.
constexpr std::array<int, 8> startPattern{8, 1, 1, 1, 1, 1, 1, 3};
/// No space of a symbol is as wide, in modules.
constexpr double quietZone = 7.5;
/// Of a symbol of one column with its row indicators, in modules.
constexpr double leastWidth = 4 * patternModules;
/// Of runs along a line.
constexpr int samplesPerPixel = 4;

PicturePoint between(PicturePoint from, PicturePoint to, double part)
{
    return {from.x + (to.x - from.x) * part, from.y + (to.y - from.y) * part};
}

int lumaAt(const LumaPicture& picture, PicturePoint point)
{
    const int x = std::clamp(static_cast<int>(point.x), 0, picture.width - 1);
    const int y = std::clamp(static_cast<int>(point.y), 0, picture.height - 1);
    return picture.row(y)[x];
}

/// Lengths, in samples, of dark and light runs from the first dark one on.
std::vector<int> runsAlong(const LumaPicture& picture, PicturePoint from, PicturePoint to)
{
    const int count
        = std::max(2, static_cast<int>(std::hypot(to.x - from.x, to.y - from.y) * samplesPerPixel));
    std::vector<int> samples;
    samples.reserve(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index)
        samples.push_back(lumaAt(picture, between(from, to, (index + 0.5) / count)));
    const auto [darkest, lightest] = std::ranges::minmax(samples);
    const int threshold = (darkest + lightest) / 2;
    std::vector<int> runs;
    bool isDark = false;
    for (const int sample : samples) {
        if ((sample < threshold) != isDark) {
            isDark = !isDark;
            runs.push_back(0);
        }
        if (!runs.empty())
            ++runs.back();
    }
    return runs;
}

/// The width of a module when the runs begin with the start pattern.
std::optional<double> moduleOf(const std::vector<int>& runs)
{
    if (runs.size() < startPattern.size())
        return std::nullopt;
    const double module
        = std::accumulate(runs.begin(), runs.begin() + startPattern.size(), 0.0) / patternModules;
    for (std::size_t index = 0; index < startPattern.size(); ++index) {
        if (std::abs(runs[index] / module - startPattern[index]) > 0.75)
            return std::nullopt;
    }
    return module;
}

/// The cluster of the codeword after the start pattern, 0, 3 or 6: that of its row.
std::optional<int> clusterOf(const std::vector<int>& runs)
{
    if (runs.size() < 2 * startPattern.size())
        return std::nullopt;
    const std::optional<double> module = moduleOf(runs);
    int codeword = 0;
    for (std::size_t index = 0; index < startPattern.size(); ++index)
        codeword += runs[startPattern.size() + index];
    if (!module || std::abs(codeword - *module * patternModules) > 2 * *module)
        return std::nullopt;
    int sum = 9;
    for (std::size_t index = 0; index < startPattern.size(); index += 2) {
        const auto width = static_cast<int>(
            std::lround(runs[startPattern.size() + index] * patternModules / static_cast<double>(codeword)));
        sum += index % 4 == 0 ? width : -width;
    }
    const int cluster = (sum + 9) % 9;
    return cluster % 3 == 0 ? std::optional(cluster) : std::nullopt;
}

/// The number of increasing minus the number of decreasing row numbers, from top to bottom.
int rowsDownwards(const LumaPicture& picture, const Quadrilateral& corners)
{
    const auto& [topLeft, topRight, bottomRight, bottomLeft] = corners;
    const int lines = static_cast<int>(std::hypot(bottomLeft.x - topLeft.x, bottomLeft.y - topLeft.y));
    std::optional<int> previous;
    int downwards = 0;
    for (int line = 0; line < lines; ++line) {
        const double part = (line + 0.5) / lines;
        const PicturePoint left = between(topLeft, bottomLeft, part);
        const PicturePoint right = between(topRight, bottomRight, part);
        // A little of the quiet zone, so that the first bar is whole.
        const std::optional<int> cluster = clusterOf(runsAlong(picture, between(left, right, -0.02), right));
        if (!cluster)
            continue;
        if (previous && *cluster != *previous)
            downwards += (*cluster - *previous + 9) % 9 == 3 ? 1 : -1;
        previous = cluster;
    }
    return downwards;
}

/// The distance from a point to the edge of the picture, in a direction of length 1.
double distanceToEdge(const LumaPicture& picture, PicturePoint from, PicturePoint direction)
{
    const auto along = [](double place, double step, double size) {
        return step == 0 ? std::numeric_limits<double>::infinity() : ((step > 0 ? size : 0) - place) / step;
    };
    return std::min(along(from.x, direction.x, picture.width), along(from.y, direction.y, picture.height));
}

/// The extent of a symbol in a direction from its start, in pixels; absent if a line does not cross the start pattern,
/// or crosses no symbol.
std::optional<double> reachOf(const LumaPicture& picture, PicturePoint start, PicturePoint direction)
{
    constexpr double margin = 2; // the bar may begin a little before
    const PicturePoint from{start.x - margin * direction.x, start.y - margin * direction.y};
    const double length = distanceToEdge(picture, from, direction);
    const std::vector<int> runs
        = runsAlong(picture, from, {from.x + length * direction.x, from.y + length * direction.y});
    const std::optional<double> module = moduleOf(runs);
    if (!module)
        return std::nullopt;
    int reach = runs[0];
    for (std::size_t index = 2; index < runs.size() && runs[index - 1] <= quietZone * *module; index += 2)
        reach += runs[index - 1] + runs[index];
    if (reach < leastWidth * *module)
        return std::nullopt;
    return static_cast<double>(reach) / samplesPerPixel;
}

/// The extent of the symbol on most lines; absent if they do not agree.
std::optional<double> commonReach(
    const LumaPicture& picture, PicturePoint top, PicturePoint bottom, PicturePoint direction)
{
    constexpr std::size_t lines = 32;
    std::vector<double> reaches;
    for (std::size_t line = 0; line < lines; ++line) {
        const double part = (static_cast<double>(line) + 0.5) / lines;
        if (const auto reach = reachOf(picture, between(top, bottom, part), direction))
            reaches.push_back(*reach);
    }
    if (reaches.size() < lines / 2)
        return std::nullopt;
    std::ranges::sort(reaches);
    const double middle = reaches[reaches.size() / 2];
    const auto agreeing = std::ranges::count_if(
        reaches, [&](double reach) { return std::abs(reach - middle) < 0.03 * middle; });
    return agreeing >= static_cast<std::ptrdiff_t>(lines / 2) ? std::optional(middle) : std::nullopt;
}

} // namespace

std::optional<Quadrilateral> completed(const LumaPicture& picture, const Quadrilateral& corners)
{
    const auto& [top, stopTop, stopBottom, bottom] = corners;
    const double height = std::hypot(bottom.x - top.x, bottom.y - top.y);
    if (height == 0)
        return std::nullopt;
    if (std::hypot(stopBottom.x - stopTop.x, stopBottom.y - stopTop.y) > height / 2)
        return corners;
    const PicturePoint inwards{(bottom.y - top.y) / height, (top.x - bottom.x) / height};
    const std::optional<double> reach = stopTop == stopBottom
        ? commonReach(picture, top, bottom, inwards)
        : (stopTop.x - top.x) * inwards.x + (stopTop.y - top.y) * inwards.y;
    if (!reach)
        return std::nullopt;
    const auto across = [&](PicturePoint corner) {
        return PicturePoint{corner.x + *reach * inwards.x, corner.y + *reach * inwards.y};
    };
    return Quadrilateral{top, across(top), across(bottom), bottom};
}

Quadrilateral inOwnOrder(const LumaPicture& picture, const Quadrilateral& corners)
{
    const auto& [topLeft, topRight, bottomRight, bottomLeft] = corners;
    const std::array<Quadrilateral, 4> orders{{
        corners,
        {bottomLeft, bottomRight, topRight, topLeft},
        {bottomRight, bottomLeft, topLeft, topRight},
        {topRight, topLeft, bottomLeft, bottomRight},
    }};
    return *std::ranges::max_element(
        orders, {}, [&](const Quadrilateral& order) { return rowsDownwards(picture, order); });
}

} // namespace tamsel::host
