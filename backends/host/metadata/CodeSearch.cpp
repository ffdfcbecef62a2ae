#include <host/metadata/CodeSearch.h>

#include <host/metadata/BusyAreas.h>
#include <host/metadata/PictureView.h>
#include <host/metadata/Quadrilateral.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace tamsel::host {

namespace {

/// Larger pictures are only examined as they are and then smaller: their codes are large enough.
constexpr std::int64_t largePicture = 2'500'000;
/// Codes in larger areas have modules that are large enough.
constexpr double largeView = 1'500'000;
/// Pictures up to this size can be read twice at little cost.
constexpr std::int64_t smallArea = 700'000;
/// In a smaller area a code is unlikely.
constexpr int smallestSide = 60;

/// For codes with strong contrast, relative to their tilt. Perspective leaves some of them slightly skewed.
constexpr std::array<ViewAngle, 8> closerAngles{{
    {.scale = 2},
    {.scale = 3},
    {.scale = 1.5},
    {},
    {.scale = 2, .degrees = 3},
    {.scale = 2, .degrees = -3},
    {.scale = 1.5, .degrees = 3},
    {.scale = 1.5, .degrees = -3},
}};

/// For codes with weak contrast. Linear codes read at up to some ten degrees, so steps of 15 leave no gap.
constexpr std::array<ViewAngle, 7> angles{{
    {},
    {.degrees = 15},
    {.degrees = -15},
    {.degrees = 30},
    {.degrees = -30},
    {.degrees = 45},
    {.isInverted = true},
}};

/// A search through one picture, in which found codes are covered.
class Search {
public:
    Search(const CodeReader& reader, LumaPicture& picture) : reader_(reader), picture_(picture) { }

    [[nodiscard]] bool isOver() const { return busyAreas(picture_).empty(); }
    void look(PictureArea area, ViewAngle angle)
    {
        for (const PictureArea& piece : angle.degrees == 0 ? std::vector{area} : piecesOf(area)) {
            PictureView view(picture_, piece, angle);
            view.picture() = evened(view.picture());
            add(seenIn(view, reader_.read(view.picture())), angle);
        }
    }
    /// The codes that were found at an angle.
    void add(std::vector<FoundCode> codes, ViewAngle angle)
    {
        for (FoundCode& code : codes) {
            if (!isConfirmed(code, angle))
                continue;
            cover(picture_, grown(code.corners, 1.1));
            addIfNew(found_, std::move(code));
        }
    }
    void lookAtBusyAreas()
    {
        for (const PictureArea& area : busyAreas(picture_)) {
            const double tilt = tiltOf(picture_, area).value_or(0);
            for (const ViewAngle angle : closerAngles) {
                const double size = static_cast<double>(area.size()) * angle.scale * angle.scale;
                if (size > largeView && angle.scale > 1)
                    continue;
                const std::size_t before = found_.size();
                look(area, {.scale = angle.scale, .degrees = angle.degrees - tilt});
                if (found_.size() > before)
                    break;
            }
        }
    }
    void lookAround()
    {
        for (const ViewAngle angle : angles) {
            if (isOver())
                break;
            look(picture_.whole(), angle);
        }
    }
    [[nodiscard]] std::vector<FoundCode>& found() { return found_; }

private:
    /// Linear codes have so little redundancy that fine bars, blurred by a rotation, may read as another code. They
    /// have to read the same at twice the size.
    [[nodiscard]] bool isConfirmed(const FoundCode& code, ViewAngle angle) const
    {
        const PictureArea area = surroundingsOf(picture_, code.corners);
        if (MetadataObjectType::Case(code.kind) >= MetadataObjectType::aztec || area.size() > smallArea)
            return true;
        angle.scale = angle.scale == 2 ? 3 : 2;
        PictureView view(picture_, area, angle);
        return std::ranges::any_of(reader_.read(view.picture()),
            [&](const FoundCode& again) { return again.kind == code.kind && again.text == code.text; });
    }

    const CodeReader& reader_;
    LumaPicture& picture_;
    std::vector<FoundCode> found_;
};

} // namespace

std::vector<FoundCode> searchCodes(const CodeReader& reader, LumaPicture picture)
{
    LumaPicture straight = picture;
    Search first(reader, picture);
    first.add(reader.read(straight), {});
    std::vector<FoundCode> found = std::move(first.found());

    for (double scale = 1; std::min(picture.width, picture.height) >= smallestSide; scale /= 2) {
        if (picture.whole().size() <= largePicture) {
            Search search(reader, picture);
            search.lookAtBusyAreas();
            search.lookAround();
            for (FoundCode& code : search.found()) {
                for (PicturePoint& corner : code.corners)
                    corner = {corner.x / scale, corner.y / scale};
                addIfNew(found, std::move(code));
            }
        }
        if (busyAreas(picture).empty())
            break;
        picture = halved(picture);
    }
    sortByRows(found);
    return found;
}

} // namespace tamsel::host
