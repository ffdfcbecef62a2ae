#include <host/metadata/CodeSearch.h>

#include <host/metadata/BusyAreas.h>
#include <host/metadata/PictureView.h>
#include <host/metadata/Quadrilateral.h>

#include <algorithm>
#include <array>
#include <utility>

namespace tamsel::host {

namespace {

/// Larger pictures are only looked at as they stand and then smaller: their codes are large enough.
constexpr std::int64_t largePicture = 2'500'000;
/// What is to be looked at larger.
constexpr std::int64_t smallPicture = 700'000;
constexpr std::int64_t tinyPicture = 100'000;
/// Smaller, there is hardly a code.
constexpr int smallestSide = 60;

/// For codes that do not stand out. Linear codes read at up to some ten degrees, so steps of 15 leave no gap.
constexpr std::array<ViewAngle, 7> angles{{
    {},
    {.degrees = 15},
    {.degrees = -15},
    {.degrees = 30},
    {.degrees = -30},
    {.degrees = 45},
    {.isInverted = true},
}};

std::int64_t sizeOf(const LumaPicture& picture)
{
    return PictureArea{0, 0, picture.width, picture.height}.size();
}

/// A search through one picture, on which what was found is covered.
class Search {
public:
    Search(const CodeReader& reader, LumaPicture& picture) : reader_(reader), picture_(picture) { }

    [[nodiscard]] bool isOver() const { return busyAreas(picture_).empty(); }
    void look(PictureArea area, ViewAngle angle)
    {
        PictureView view(picture_, area, angle);
        view.picture() = evened(view.picture());
        std::vector<FoundCode> codes = reader_.read(view.picture());
        codes = seenIn(view, std::move(codes));
        for (const FoundCode& code : codes)
            cover(picture_, grown(code.corners, 1.1));
        addNew(found_, std::move(codes));
    }
    void lookAtBusyAreas()
    {
        for (const PictureArea& area : busyAreas(picture_)) {
            const double tilt = tiltOf(picture_, area).value_or(0);
            look(area, {.degrees = -tilt});
            if (area.size() <= smallPicture)
                look(area, {.scale = 2, .degrees = -tilt});
            if (area.size() <= tinyPicture)
                look(area, {.scale = 3, .degrees = -tilt});
        }
    }
    void lookAround()
    {
        const PictureArea whole{0, 0, picture_.width, picture_.height};
        for (const ViewAngle angle : angles) {
            if (isOver())
                break;
            look(whole, angle);
        }
    }
    [[nodiscard]] std::vector<FoundCode>& found() { return found_; }

private:
    const CodeReader& reader_;
    LumaPicture& picture_;
    std::vector<FoundCode> found_;
};

} // namespace

std::vector<FoundCode> searchCodes(const CodeReader& reader, LumaPicture picture)
{
    LumaPicture straight = picture;
    std::vector<FoundCode> found = reader.read(straight);
    for (const FoundCode& code : found)
        cover(picture, grown(code.corners, 1.1));

    for (double scale = 1; std::min(picture.width, picture.height) >= smallestSide; scale /= 2) {
        if (sizeOf(picture) <= largePicture) {
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
