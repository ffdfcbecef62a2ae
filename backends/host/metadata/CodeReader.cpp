#include <host/metadata/CodeReader.h>

#include <host/metadata/BusyAreas.h>
#include <host/metadata/LinearCodeOutline.h>
#include <host/metadata/Pdf417Rows.h>
#include <host/metadata/Quadrilateral.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace tamsel::host {

namespace {

using Case = MetadataObjectType::Case;

/// The limit of linear codes in one picture.
constexpr int linearCodeLimit = 32;
/// Of lines that read as codes but are not: each costs another search of the whole picture.
constexpr int rejectionLimit = 4;
constexpr int middleSize = 640;
/// In pixels; anything shorter is a line of noise that happens to read as a code.
constexpr double shortestBars = 6;
/// In pixels, for all closer examinations of one picture: limits the cost of a frame.
constexpr std::int64_t closerLookLimit = 400'000;
/// In pixels; a rotated strip needs far more than it has itself.
constexpr std::int64_t largestView = 4 * closerLookLimit;
/// In degrees.
constexpr double noticeableLean = 8;
/// In degrees; smaller angles do not disturb reading.
constexpr double noticeableTilt = 3;

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

PicturePoint middleOf(PictureArea area)
{
    return {(area.left + area.right) / 2.0, (area.top + area.bottom) / 2.0};
}

/// The part of a picture that a code covers when a camera is pointed at it.
PictureArea middlePart(PictureArea whole)
{
    const int width = std::min(whole.width(), middleSize);
    const int height = std::min(whole.height(), middleSize);
    const int left = whole.left + (whole.width() - width) / 2;
    const int top = whole.top + (whole.height() - height) / 2;
    return {left, top, left + width, top + height};
}

/// Symbols in a small area have small modules, which are harder to read. 1 for a large area.
double enlargement(PictureArea area)
{
    constexpr double enoughPixels = 260'000;
    const double scale = std::min(3.0, std::sqrt(enoughPixels / static_cast<double>(area.size())));
    return scale < 1.4 ? 1 : scale;
}

/// The symbologies that are also read in a mirror.
bool isAboutSquare(PictureArea area)
{
    return 2 * area.width() < 3 * area.height() && 2 * area.height() < 3 * area.width();
}

/// Interleaved 2 of 5 (ISO/IEC 16390) has no distinct ends: without quiet zones, a line that leaves the code on its
/// long side, or a code at the edge of the picture, reads as a shorter one. The other codes mark their ends.
bool isWhole(const LumaPicture& picture, const LinearCodeOutline& outline, const CodeRead& read)
{
    constexpr double quietZone = 7; // modules; prints often have less than the required 10
    if (read.symbology != Symbology::interleaved2of5)
        return true;
    const double characters = read.text ? static_cast<double>(read.text->size()) : 0;
    return outline.hasQuietZones(picture, quietZone / (9 * characters + 8));
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
        if (isLinear(*symbology)) {
            add(linear_, *symbology);
            continue;
        }
        add(matrix_, *symbology);
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
    std::vector<FoundCode> found = readMatrixCodes(picture, picture.whole(), anywhere_);
    // Known codes are covered, so that no line of them reads as a linear code and none is examined twice.
    for (const FoundCode& code : found)
        cover(picture, code.corners);
    addNew(found, readLinearCodes(picture));
    lookCloser(picture, found);
    sortByRows(found);
    return found;
}

std::vector<FoundCode> CodeReader::readMatrixCodes(
    const LumaPicture& picture, PictureArea area, const std::vector<Symbology>& symbologies) const
{
    std::vector<FoundCode> found;
    for (CodeRead& read : readWithZXing(picture, area, symbologies)) {
        const std::optional<MetadataObjectType> kind = kindOf(read);
        if (!kind)
            continue;
        if (read.symbology == Symbology::pdf417)
            read.corners = inOwnOrder(picture, read.corners);
        found.push_back({*kind, read.corners, std::move(read.text)});
    }
    return found;
}

std::vector<FoundCode> CodeReader::readLinearCodes(LumaPicture& picture) const
{
    std::vector<FoundCode> found;
    int rejected = 0;
    for (int count = 0; count < linearCodeLimit && rejected < rejectionLimit; ++count) {
        std::vector<CodeRead> reads = readWithZXing(picture, picture.whole(), linear_);
        if (reads.empty())
            break;
        CodeRead& read = reads.front();
        const auto& [topLeft, topRight, bottomRight, bottomLeft] = read.corners;
        const LinearCodeOutline outline(picture,
            {(topLeft.x + bottomLeft.x) / 2, (topLeft.y + bottomLeft.y) / 2},
            {(topRight.x + bottomRight.x) / 2, (topRight.y + bottomRight.y) / 2});
        if (!isWhole(picture, outline, read) || !isConfirmed(picture, outline, read)) {
            outline.eraseLine(picture);
            ++rejected;
            continue;
        }
        const std::optional<MetadataObjectType> kind = kindOf(read);
        if (kind && outline.barLength() >= shortestBars)
            addIfNew(found, {*kind, outline.corners(), std::move(read.text)});
        outline.erase(picture);
    }
    return found;
}

/// Lines across tilted bars read wrong more often, and check characters do not exclude that. So such a code is read
/// once more from a view in which it is upright.
bool CodeReader::isConfirmed(
    const LumaPicture& picture, const LinearCodeOutline& outline, const CodeRead& read) const
{
    const double lean = outline.barsLean();
    if (std::abs(lean) < noticeableLean)
        return true;
    PictureView view(picture, surroundingsOf(picture, outline.corners()), {.degrees = -lean});
    const std::vector<CodeRead> again
        = readWithZXing(view.picture(), view.picture().whole(), {read.symbology});
    return !again.empty() && again.front().text == read.text;
}

/// Examines areas again for codes that ZXing finds only in the middle of a picture, only upright, or only unmirrored.
void CodeReader::lookCloser(const LumaPicture& picture, std::vector<FoundCode>& found) const
{
    addNew(found, readMatrixCodes(picture, middlePart(picture.whole()), centred_));
    std::vector<std::pair<PictureArea, double>> tilted;
    for (const PictureArea& area : busyAreas(picture)) {
        if (area.size() > closerLookLimit)
            continue;
        if (const std::optional<double> tilt = tiltOf(picture, area))
            tilted.emplace_back(area, *tilt);
    }
    std::int64_t left = closerLookLimit;
    for (const bool isEnlarged : {false, true}) {
        for (const auto& [area, tilt] : tilted) {
            const double scale = isEnlarged ? enlargement(area) : 1;
            const auto size = static_cast<std::int64_t>(static_cast<double>(area.size()) * scale * scale);
            if (viewSize(area, {.scale = scale, .degrees = -tilt}) > largestView)
                continue;
            if (size > left || (isEnlarged && scale == 1) || isThere(found, middleOf(area)))
                continue;
            left -= size;
            addNew(found, lookAt(picture, area, {.scale = scale, .degrees = -tilt}));
        }
    }
}

std::vector<FoundCode> CodeReader::lookAt(const LumaPicture& picture, PictureArea area, ViewAngle angle) const
{
    const bool isTilted = std::abs(angle.degrees) >= noticeableTilt;
    PictureView view(picture, area, angle);
    std::vector<FoundCode> seen
        = readMatrixCodes(view.picture(), view.picture().whole(), isTilted ? matrix_ : centred_);
    // If bars are fine and blurred by the rotation, more than a few would read wrong.
    if (seen.empty() && isTilted && angle.scale == enlargement(area))
        seen = readLinearCodes(view.picture());
    if (!seen.empty() || angle.scale != 1 || oneSided_.empty() || !isAboutSquare(area))
        return seenIn(view, std::move(seen));
    angle.isMirrored = true;
    PictureView mirror(picture, area, angle);
    return seenIn(mirror, readMatrixCodes(mirror.picture(), mirror.picture().whole(), oneSided_));
}

std::vector<FoundCode> seenIn(const PictureView& view, std::vector<FoundCode> codes)
{
    for (FoundCode& code : codes) {
        for (PicturePoint& corner : code.corners)
            corner = view.toPicture(corner);
    }
    return codes;
}

bool isThere(const std::vector<FoundCode>& found, PicturePoint point)
{
    return std::ranges::any_of(found, [&](const FoundCode& code) { return contains(code.corners, point); });
}

void addIfNew(std::vector<FoundCode>& found, FoundCode code)
{
    const auto isPartOf = [&](const FoundCode& other) {
        return other.kind == code.kind && other.text == code.text
            && std::ranges::any_of(code.corners,
                [area = grown(other.corners, 1.2)](PicturePoint corner) { return contains(area, corner); });
    };
    if (!isThere(found, centre(code.corners)) && std::ranges::none_of(found, isPartOf))
        found.push_back(std::move(code));
}

void addNew(std::vector<FoundCode>& found, std::vector<FoundCode> codes)
{
    for (FoundCode& code : codes)
        addIfNew(found, std::move(code));
}

void sortByRows(std::vector<FoundCode>& found)
{
    std::ranges::sort(found, {}, [](const FoundCode& code) {
        const PicturePoint middle = centre(code.corners);
        return std::pair(middle.y, middle.x);
    });
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
