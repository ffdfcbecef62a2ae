// Faces of a real photograph: the host's detector, what it makes of places, and which face is which.

#include "support/Media.h"
#include "support/Pictures.h"

#include <host/metadata/FaceFinder.h>
#include <host/metadata/FaceTracks.h>
#include <host/metadata/PictureView.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace tamsel::tests {

namespace {

using namespace std::chrono_literals;
using host::FaceBounds;
using host::FaceFinder;
using host::FoundFace;
using host::LumaPicture;

LumaPicture plain(int width, int height)
{
    return {width, height, std::vector<std::uint8_t>(static_cast<std::size_t>(width * height), 128)};
}

LumaPicture load(const std::string& file)
{
    const Pixels pixels = decoded(readFile(testData(file)), {.appliesOrientationProperty = true});
    LumaPicture picture = plain(pixels.width, pixels.height);
    std::ranges::transform(pixels.words, picture.pixels.begin(),
        [](std::uint32_t word) { return static_cast<std::uint8_t>(word >> 8); }); // green
    return picture;
}

/// One woman who looks into the camera.
LumaPicture portrait()
{
    return load("face/astronaut_grey.jpg");
}

/// From her eyebrows to her chin, measured by eye.
constexpr FaceBounds herFace{143, 68, 66, 72};

void paste(LumaPicture& picture, const LumaPicture& other, int left, int top)
{
    for (int y = 0; y < other.height; ++y)
        std::copy_n(other.row(y), other.width, picture.row(top + y) + left);
}

/// A picture and what is in it, a quarter turn clockwise at a time.
std::pair<LumaPicture, FaceBounds> turned(LumaPicture picture, FaceBounds face, int quarterTurns)
{
    for (int turn = 0; turn < quarterTurns; ++turn) {
        LumaPicture next = plain(picture.height, picture.width);
        for (int y = 0; y < next.height; ++y) {
            for (int x = 0; x < next.width; ++x)
                next.row(y)[x] = picture.row(picture.height - 1 - x)[y];
        }
        face = {picture.height - face.top - face.height, face.left, face.height, face.width};
        picture = std::move(next);
    }
    return {std::move(picture), face};
}

/// What both cover, of what either covers.
double overlap(const FaceBounds& one, const FaceBounds& other)
{
    const double width
        = std::min(one.left + one.width, other.left + other.width) - std::max(one.left, other.left);
    const double height
        = std::min(one.top + one.height, other.top + other.height) - std::max(one.top, other.top);
    const double shared = std::max(0.0, width) * std::max(0.0, height);
    return shared / (one.area() + other.area() - shared);
}

void expectAt(const std::vector<FoundFace>& found, const std::vector<FaceBounds>& expected)
{
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t index = 0; index < found.size(); ++index) {
        const FaceBounds& bounds = found[index].bounds;
        EXPECT_GT(overlap(bounds, expected[index]), 0.5)
            << index << " is " << bounds.width << " x " << bounds.height << " at " << bounds.left << ", "
            << bounds.top;
    }
}

TEST(FaceFinder, LooksAtPicturesWithSidesThatItsLibrariesDoNotTake)
{
    FaceFinder finder;
    for (const auto& [width, height] : {std::pair(20, 40'000), std::pair(40'000, 20), std::pair(1, 70'000)}) {
        for (int quarterTurns = 0; quarterTurns < 2; ++quarterTurns)
            EXPECT_TRUE(finder.find(plain(width, height), quarterTurns).empty());
    }
}

TEST(FaceFinder, PlacesAreThoseOfTheStoredPictureWhicheverWayItIsShown)
{
    // Not square, and nothing in it is in the middle.
    LumaPicture picture = plain(700, 450);
    paste(picture, portrait(), 20, 10);
    const FaceBounds place{herFace.left + 20, herFace.top + 10, herFace.width, herFace.height};
    FaceFinder finder;
    for (int quarterTurns = 0; quarterTurns < 4; ++quarterTurns) {
        SCOPED_TRACE(quarterTurns);
        const auto [stored, face] = turned(picture, place, quarterTurns);
        const int back = 4 - quarterTurns;
        expectAt(finder.find(stored, back), {face});
        expectAt(finder.find(stored, back + 1), {});
        expectAt(finder.search(stored, back + 1), {face});
    }
}

TEST(FaceFinder, ASinglePictureIsLookedAtForSmallFacesToo)
{
    LumaPicture picture = plain(1920, 1080);
    const LumaPicture small = host::halved(portrait());
    paste(picture, small, 1400, 600);
    const FaceBounds face{
        1400 + herFace.left / 2, 600 + herFace.top / 2, herFace.width / 2, herFace.height / 2};
    FaceFinder finder;
    expectAt(finder.find(picture, 0), {});
    expectAt(finder.search(picture, 0), {face});

    paste(picture, portrait(), 300, 200);
    expectAt(finder.search(picture, 0),
        {{300 + herFace.left, 200 + herFace.top, herFace.width, herFace.height}, face});
}

TEST(FaceFinder, AFaceAtTheEdgeDoesNotReachOutOfThePicture)
{
    const LumaPicture whole = portrait();
    LumaPicture picture = plain(200, 200);
    for (int y = 0; y < picture.height; ++y)
        std::copy_n(whole.row(y + 66) + 141, picture.width, picture.row(y));
    const auto found = FaceFinder().find(picture, 0);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.front().bounds.left, 0);
    EXPECT_EQ(found.front().bounds.top, 0);
}

TEST(FaceFinder, NothingIsFoundWhereNoFaceIs)
{
    LumaPicture covered = portrait();
    paste(covered, plain(90, 100), 130, 55);
    FaceFinder finder;
    for (const LumaPicture& picture :
        {covered, load("image/photograph_odd_exif.jpg"), load("image/generated_exif_6.jpg"), plain(640, 480),
            plain(1, 1), plain(1, 3000), plain(3000, 1), LumaPicture()}) {
        SCOPED_TRACE(std::to_string(picture.width) + " x " + std::to_string(picture.height));
        expectAt(finder.find(picture, 1), {});
        expectAt(finder.search(picture, 0), {});
    }
}

using Identifiers = std::vector<std::int64_t>;

/// A face of 100 x 100 pixels.
FaceBounds face(double left, double top = 0)
{
    return {left, top, 100, 100};
}

TEST(FaceTracks, AFaceKeepsItsIdentifierWhileItMovesAndOthersComeAndGo)
{
    host::FaceTracks tracks;
    EXPECT_EQ(tracks.identify({face(0), face(500)}, 0ms), (Identifiers{1, 2}));
    EXPECT_EQ(tracks.identify({face(450), face(40, 30)}, 100ms), (Identifiers{2, 1}))
        << "the order does not count";
    EXPECT_EQ(tracks.identify({face(80, 60), face(900), face(400)}, 200ms), (Identifiers{1, 3, 2}));
    EXPECT_EQ(tracks.identify({face(900), face(120, 90)}, 300ms), (Identifiers{3, 1}));
    EXPECT_EQ(tracks.identify({face(300, 300)}, 400ms), Identifiers{4}) << "that is far from any";
}

TEST(FaceTracks, NeighboursAreToldApartByTheBestOverlap)
{
    host::FaceTracks tracks;
    EXPECT_EQ(tracks.identify({face(0), face(60)}, 0ms), (Identifiers{1, 2}));
    EXPECT_EQ(tracks.identify({face(50), face(58)}, 100ms), (Identifiers{1, 2}))
        << "the first one is nearer to the second's place, but the second is nearer still";
    EXPECT_EQ(tracks.identify({face(58), face(58), face(50)}, 200ms), (Identifiers{2, 3, 1}))
        << "nobody is there twice";
}

TEST(FaceTracks, AFaceMayBeMissedForHalfASecondAndIdentifiersAreNeverUsedAgain)
{
    host::FaceTracks tracks;
    EXPECT_EQ(tracks.identify({face(0)}, 1000ms), Identifiers{1});
    EXPECT_EQ(tracks.identify({}, 1300ms), Identifiers{});
    EXPECT_EQ(tracks.identify({face(10)}, 1500ms), Identifiers{1});
    EXPECT_EQ(tracks.identify({face(10)}, 2000ms), Identifiers{1}) << "counted from the last time";
    EXPECT_EQ(tracks.identify({face(10)}, 2501ms), Identifiers{2});
    EXPECT_EQ(tracks.identify({}, 9000ms), Identifiers{});
    EXPECT_EQ(tracks.identify({face(10)}, 9100ms), Identifiers{3});
}

} // namespace

} // namespace tamsel::tests
