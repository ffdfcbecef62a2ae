#include <host/metadata/CodeReader.h>

#include <host/metadata/BusyAreas.h>
#include <host/metadata/LinearCodeOutline.h>
#include <host/metadata/Pdf417Rows.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <utility>

namespace tamsel::host {

namespace {

using Case = MetadataObjectType::Case;

/// Linear codes that are looked for on one picture.
constexpr int linearCodeLimit = 32;
constexpr int middleSize = 640;
/// In pixels; what is shorter is a line of noise that happens to read as a code.
constexpr double shortestBars = 6;

std::optional<Symbology> symbologyOf(MetadataObjectType kind)
{
    switch (kind) {
    case MetadataObjectType::code39:
    case MetadataObjectType::code39Mod43:
        return Symbology::code39;
    case MetadataObjectType::code93:
        return Symbology::code93;
    case MetadataObjectType::code128:
        return Symbology::code128;
    case MetadataObjectType::ean8:
        return Symbology::ean8;
    case MetadataObjectType::ean13:
        return Symbology::ean13;
    case MetadataObjectType::interleaved2of5:
    case MetadataObjectType::itf14:
        return Symbology::interleaved2of5;
    case MetadataObjectType::upce:
        return Symbology::upce;
    case MetadataObjectType::aztec:
        return Symbology::aztec;
    case MetadataObjectType::dataMatrix:
        return Symbology::dataMatrix;
    case MetadataObjectType::pdf417:
        return Symbology::pdf417;
    case MetadataObjectType::qr:
        return Symbology::qr;
    case MetadataObjectType::face:
        break;
    }
    return std::nullopt;
}

PicturePoint centre(const std::array<PicturePoint, 4>& corners)
{
    PicturePoint sum;
    for (const PicturePoint& corner : corners) {
        sum.x += corner.x / 4;
        sum.y += corner.y / 4;
    }
    return sum;
}

/// Of a picture, what a code that somebody points a camera at covers.
PictureArea middleOf(PictureArea whole)
{
    const int width = std::min(whole.width(), middleSize);
    const int height = std::min(whole.height(), middleSize);
    const int left = whole.left + (whole.width() - width) / 2;
    const int top = whole.top + (whole.height() - height) / 2;
    return {left, top, left + width, top + height};
}

/// For quadrilaterals that are convex, either way round.
bool contains(const std::array<PicturePoint, 4>& corners, PicturePoint point)
{
    int left = 0;
    int right = 0;
    for (std::size_t index = 0; index < corners.size(); ++index) {
        const PicturePoint& from = corners[index];
        const PicturePoint& to = corners[(index + 1) % corners.size()];
        const double side = (to.x - from.x) * (point.y - from.y) - (to.y - from.y) * (point.x - from.x);
        left += side < 0 ? 1 : 0;
        right += side > 0 ? 1 : 0;
    }
    return left == 0 || right == 0;
}

bool isThere(const std::vector<FoundCode>& found, PicturePoint point)
{
    return std::ranges::any_of(found, [&](const FoundCode& code) { return contains(code.corners, point); });
}

/// Covers a code with white.
void erase(LumaPicture& picture, const std::array<PicturePoint, 4>& corners)
{
    const auto [top, bottom] = std::ranges::minmax(corners, {}, &PicturePoint::y);
    for (int y = std::max(0, static_cast<int>(top.y)); y < std::min<double>(picture.height, bottom.y + 1);
        ++y) {
        double left = picture.width;
        double right = 0;
        for (std::size_t index = 0; index < corners.size(); ++index) {
            PicturePoint from = corners[index];
            PicturePoint to = corners[(index + 1) % corners.size()];
            if (from.y > to.y)
                std::swap(from, to);
            if (to.y < y || from.y > y + 1)
                continue;
            for (const double line : {std::max<double>(y, from.y), std::min<double>(y + 1, to.y)}) {
                const double part = to.y > from.y ? (line - from.y) / (to.y - from.y) : 0;
                left = std::min(left, from.x + part * (to.x - from.x));
                right = std::max(right, from.x + part * (to.x - from.x));
            }
            if (to.y <= from.y) {
                left = std::min({left, from.x, to.x});
                right = std::max({right, from.x, to.x});
            }
        }
        const int first = std::max(0, static_cast<int>(left));
        const int last = std::min(picture.width, static_cast<int>(std::ceil(right)));
        for (int x = first; x < last; ++x)
            picture.row(y)[x] = 255;
    }
}

} // namespace

CodeReader::CodeReader(std::vector<MetadataObjectType> kinds) : kinds_(std::move(kinds))
{
    const auto add = [](std::vector<Symbology>& group, Symbology symbology) {
        if (std::ranges::find(group, symbology) == group.end())
            group.push_back(symbology);
    };
    for (const MetadataObjectType kind : kinds_) {
        const std::optional<Symbology> symbology = symbologyOf(kind);
        if (!symbology)
            continue;
        const bool isQr = *symbology == Symbology::qr;
        if (isLinear(*symbology))
            add(linear_, *symbology);
        else
            add(isQr || *symbology == Symbology::pdf417 ? anywhere_ : centred_, *symbology);
        if (isQr || *symbology == Symbology::aztec)
            add(oneSided_, *symbology);
    }
}

bool CodeReader::wants(Case kind) const
{
    return std::ranges::find(kinds_, MetadataObjectType(kind)) != kinds_.end();
}

std::optional<MetadataObjectType> CodeReader::kindOf(const CodeRead& read) const
{
    const std::string_view text = read.text ? std::string_view(*read.text) : std::string_view();
    const auto choose = [&](bool isSpecial, Case special, Case plain) -> std::optional<MetadataObjectType> {
        if (isSpecial && wants(special))
            return special;
        return wants(plain) ? std::optional<MetadataObjectType>(plain) : std::nullopt;
    };
    switch (read.symbology) {
    case Symbology::code39:
        return choose(hasCode39CheckCharacter(text), Case::code39Mod43, Case::code39);
    case Symbology::interleaved2of5:
        return choose(isGtin14(text), Case::itf14, Case::interleaved2of5);
    default:
        break;
    }
    for (const MetadataObjectType kind : kinds_) {
        if (symbologyOf(kind) == read.symbology)
            return kind;
    }
    return std::nullopt;
}

std::vector<FoundCode> CodeReader::read(LumaPicture& picture) const
{
    const PictureArea whole{0, 0, picture.width, picture.height};
    std::vector<FoundCode> found;
    readMatrixCodes(picture, whole, anywhere_, Look::straight, found);
    // What is known is covered, so that no line of it reads as a linear code and none is looked at twice.
    for (const FoundCode& code : found)
        erase(picture, code.corners);
    readLinearCodes(picture, found);
    readStandingOut(picture, found);
    std::ranges::sort(found, {}, [](const FoundCode& code) {
        const PicturePoint middle = centre(code.corners);
        return std::pair(middle.y, middle.x);
    });
    return found;
}

void CodeReader::readMatrixCodes(const LumaPicture& picture, PictureArea area,
    const std::vector<Symbology>& symbologies, Look look, std::vector<FoundCode>& found) const
{
    for (CodeRead& read : readWithZXing(picture, area, symbologies, look)) {
        const std::optional<MetadataObjectType> kind = kindOf(read);
        if (!kind || isThere(found, centre(read.corners)))
            continue;
        const auto& [topLeft, topRight, bottomRight, bottomLeft] = read.corners;
        if (read.symbology == Symbology::pdf417 && hasRowsUpwards(picture, read.corners))
            read.corners = {bottomLeft, bottomRight, topRight, topLeft};
        found.push_back({*kind, read.corners, std::move(read.text)});
    }
}

void CodeReader::readLinearCodes(LumaPicture& picture, std::vector<FoundCode>& found) const
{
    const PictureArea whole{0, 0, picture.width, picture.height};
    for (int count = 0; count < linearCodeLimit; ++count) {
        std::vector<CodeRead> reads = readWithZXing(picture, whole, linear_, Look::straight);
        if (reads.empty())
            return;
        CodeRead& read = reads.front();
        const auto& [topLeft, topRight, bottomRight, bottomLeft] = read.corners;
        const LinearCodeOutline outline(picture,
            {(topLeft.x + bottomLeft.x) / 2, (topLeft.y + bottomLeft.y) / 2},
            {(topRight.x + bottomRight.x) / 2, (topRight.y + bottomRight.y) / 2});
        const std::optional<MetadataObjectType> kind = kindOf(read);
        if (kind && outline.barLength() >= shortestBars)
            found.push_back({*kind, outline.corners(), std::move(read.text)});
        outline.erase(picture);
    }
}

/// The codes that ZXing finds only in the middle of what it is given, or only when they are not mirrored.
void CodeReader::readStandingOut(const LumaPicture& picture, std::vector<FoundCode>& found) const
{
    if (centred_.empty() && oneSided_.empty())
        return;
    const PictureArea whole{0, 0, picture.width, picture.height};
    readMatrixCodes(picture, middleOf(whole), centred_, Look::straight, found);
    std::int64_t left = whole.size() / 4;
    for (const PictureArea& area : busyAreas(picture)) {
        const PicturePoint middle{(area.left + area.right) / 2.0, (area.top + area.bottom) / 2.0};
        if (area.size() > left || isThere(found, middle))
            continue;
        left -= area.size();
        readMatrixCodes(picture, area, centred_, Look::straight, found);
        if (!isThere(found, middle))
            readMatrixCodes(picture, area, oneSided_, Look::mirrored, found);
    }
}

bool hasCode39CheckCharacter(std::string_view text)
{
    constexpr std::string_view alphabet = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%";
    if (text.size() < 2)
        return false;
    std::size_t sum = 0;
    for (const char character : text.substr(0, text.size() - 1)) {
        const std::size_t value = alphabet.find(character);
        if (value == std::string_view::npos)
            return false;
        sum += value;
    }
    return alphabet[sum % alphabet.size()] == text.back();
}

bool isGtin14(std::string_view text)
{
    if (text.size() != 14)
        return false;
    int sum = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] < '0' || text[index] > '9')
            return false;
        sum += (text[index] - '0') * (index % 2 == 0 ? 3 : 1);
    }
    return sum % 10 == 0;
}

} // namespace tamsel::host
