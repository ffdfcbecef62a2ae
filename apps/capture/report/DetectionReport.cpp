#include "report/DetectionReport.h"

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

/// A code that is missed in some frames is still in view.
constexpr nanoseconds goneAfter = 2s;

/// To five digits, finer than a pixel.
Json rounded(double number)
{
    return numberOf(std::round(number * 1e5) / 1e5);
}

Json jsonOf(const DetectedCode& code)
{
    Json corners = Json::array();
    for (const CGPoint& corner : code.corners())
        corners.push_back(Json::array({rounded(corner.x), rounded(corner.y)}));
    const auto type = nameOf(code.type());
    return {
        {"type", type ? Json(*type) : Json(nullptr)}, {"value", textOf(code.value())}, {"corners", corners}};
}

std::string kindOf(const DetectedCode& code)
{
    return std::string(nameOf(code.type()).value_or("code"));
}

/// The centre of the corners, in words.
std::string placeOf(const std::vector<CGPoint>& corners)
{
    const auto [left, right] = std::ranges::minmax(corners, {}, &CGPoint::x);
    const auto [top, bottom] = std::ranges::minmax(corners, {}, &CGPoint::y);
    std::array<char, 60> text{};
    std::snprintf(text.data(), text.size(), "%.0f %% across, %.0f %% down", (left.x + right.x) * 50,
        (top.y + bottom.y) * 50);
    return text.data();
}

/// Padded by at least two spaces. A character of several bytes counts once.
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

/// Whether it has just come into view.
template <typename Key> bool isNews(const std::map<Key, nanoseconds>& times, const Key& key, nanoseconds now)
{
    const auto found = times.find(key);
    return found == times.end() || now - found->second > goneAfter;
}

} // namespace

void DetectionReport::writeEvent(const char* name, Json members, nanoseconds now)
{
    if (start_)
        members["time"] = numberOf(seconds(now - *start_));
    if (label_)
        members["file"] = *label_;
    console_.writeEvent(name, members);
}

void DetectionReport::write(const std::string& line, nanoseconds now)
{
    std::array<char, 40> time{};
    if (start_)
        std::snprintf(time.data(), time.size(), "%10.3f s  ", seconds(now - *start_));
    console_.write((label_ ? *label_ + ": " : "") + time.data() + line);
}

void DetectionReport::addFace(CGRect bounds, std::int64_t id, nanoseconds now)
{
    ++faces_;
    const bool isNew = isNews(faceTimes_, id, now);
    faceTimes_[id] = now;
    if (console_.wantsEvents())
        writeEvent("face",
            {{"bounds",
                Json::array({rounded(bounds.origin.x), rounded(bounds.origin.y), rounded(bounds.size.width),
                    rounded(bounds.size.height)})}},
            now);
    if (isNew)
        write(inColumns("face", "", placeOf(findingOf(bounds).corners)), now);
}

void DetectionReport::addCodes(const std::vector<DetectedCode>& codes, nanoseconds now)
{
    ++batches_;
    if (console_.wantsEvents()) {
        Json list = Json::array();
        for (const DetectedCode& code : codes)
            list.push_back(jsonOf(code));
        writeEvent("codes", {{"codes", list}}, now);
    }
    const std::map<Code, nanoseconds> before = codes_; // equal codes of one batch are all reported
    for (const DetectedCode& code : codes) {
        const Code key{kindOf(code), code.value()};
        codes_[key] = now;
        if (isNews(before, key, now))
            write(inColumns(
                      key.first, key.second ? lineOf(*key.second) : "(unreadable)", placeOf(code.corners())),
                now);
    }
}

std::string DetectionReport::summary(bool ofCodes, bool ofFaces) const
{
    std::string text;
    if (ofCodes)
        text = "codes found " + std::to_string(batches_) + " times, " + std::to_string(codes_.size())
            + " different";
    if (ofFaces)
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
