#include "report/DetectionTeller.h"

#include "options/CodeKinds.h"
#include "seconds.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

/// A code that is missed in some frames has not gone away.
constexpr nanoseconds goneAfter = 2s;

/// With the five digits that are more than pixels need.
double rounded(double number)
{
    return std::round(number * 1e5) / 1e5;
}

JsonLine jsonOf(const DetectedCode& code)
{
    std::vector<std::array<double, 2>> corners;
    for (const CGPoint& corner : code.corners())
        corners.push_back({rounded(corner.x), rounded(corner.y)});
    JsonLine line = JsonLine::nested();
    line.text("type", nameOf(code.type()).transform([](std::string_view name) { return std::string(name); }));
    line.text("value", code.value()).pairs("corners", corners);
    return line;
}

std::string kindOf(const DetectedCode& code)
{
    return std::string(nameOf(code.type()).value_or("code"));
}

/// The middle of what has these corners.
std::string placeOf(const std::vector<CGPoint>& corners)
{
    const auto [left, right] = std::ranges::minmax(corners, {}, &CGPoint::x);
    const auto [top, bottom] = std::ranges::minmax(corners, {}, &CGPoint::y);
    std::array<char, 60> text{};
    std::snprintf(text.data(), text.size(), "%.0f %% across, %.0f %% down", (left.x + right.x) * 50,
        (top.y + bottom.y) * 50);
    return text.data();
}

/// Filled up with at least two spaces; a character of several bytes counts once.
std::string padded(std::string text, std::ptrdiff_t width)
{
    const auto characters = std::ranges::count_if(text, [](char byte) { return (byte & 0xC0) != 0x80; });
    text.append(static_cast<std::size_t>(std::max<std::ptrdiff_t>(2, width - characters)), ' ');
    return text;
}

std::string inColumns(const std::string& kind, const std::string& value, const std::string& place)
{
    return padded(kind, 17) + padded(value, 32) + place;
}

/// Whether it was not in view a moment ago.
template <typename Key> bool isNews(const std::map<Key, nanoseconds>& times, const Key& key, nanoseconds now)
{
    const auto found = times.find(key);
    return found == times.end() || now - found->second > goneAfter;
}

} // namespace

void DetectionTeller::write(JsonLine event, nanoseconds now)
{
    if (start_)
        event.number("time", seconds(now - *start_));
    console_.write(event);
}

void DetectionTeller::write(const std::string& line, nanoseconds now)
{
    std::array<char, 40> time{};
    if (start_)
        std::snprintf(time.data(), time.size(), "%10.3f s  ", seconds(now - *start_));
    console_.write(time.data() + line);
}

void DetectionTeller::tellFace(CGRect bounds, std::int64_t id, nanoseconds now)
{
    ++faces_;
    const bool isNew = isNews(faceTimes_, id, now);
    faceTimes_[id] = now;
    if (console_.wantsEvents()) {
        const std::array<double, 4> numbers{rounded(bounds.origin.x), rounded(bounds.origin.y),
            rounded(bounds.size.width), rounded(bounds.size.height)};
        write(JsonLine("face").numbers("bounds", numbers), now);
    }
    if (isNew && !console_.isJson())
        write(inColumns("face", "", placeOf(findingOf(bounds).corners)), now);
}

void DetectionTeller::tellCodes(const std::vector<DetectedCode>& codes, nanoseconds now)
{
    ++batches_;
    if (console_.wantsEvents()) {
        std::vector<JsonLine> objects;
        std::ranges::transform(codes, std::back_inserter(objects), jsonOf);
        write(JsonLine("codes").objects("codes", objects), now);
    }
    const std::map<Code, nanoseconds> before = codes_; // equal codes of one batch are told each
    for (const DetectedCode& code : codes) {
        const Code key{kindOf(code), code.value()};
        codes_[key] = now;
        if (!console_.isJson() && isNews(before, key, now))
            write(inColumns(key.first, key.second ? jsonText(*key.second) : "(unreadable)",
                      placeOf(code.corners())),
                now);
    }
}

std::string DetectionTeller::summary(const DetectOptions& options) const
{
    std::string text;
    if (options.asksForCodes())
        text = "codes found " + std::to_string(batches_) + " times, " + std::to_string(codes_.size())
            + " different";
    if (options.asksForFaces())
        text += (text.empty() ? "" : "; ") + std::string("a face found ") + std::to_string(faces_) + " times";
    return text;
}

Finding findingOf(const DetectedCode& code)
{
    return {.corners = code.corners(), .label = kindOf(code) + (code.value() ? " " + *code.value() : "")};
}

Finding findingOf(CGRect face)
{
    const auto [x, y] = face.origin;
    const auto [width, height] = face.size;
    return {.corners = {{x, y}, {x + width, y}, {x + width, y + height}, {x, y + height}},
        .label = "face",
        .isFace = true};
}

} // namespace tamsel::capture
