#include <host/metadata/FaceTracks.h>

#include <gtest/gtest.h>

namespace tamsel::tests {

namespace {

using host::FaceTracks;
using std::chrono::milliseconds;
using Identifiers = std::vector<std::int64_t>;

/// A face of 100 x 100 pixels.
host::FaceBounds face(double left, double top = 0)
{
    return {left, top, 100, 100};
}

TEST(FaceTracks, AFaceKeepsItsIdentifierWhileItMovesAndOthersComeAndGo)
{
    FaceTracks tracks;
    EXPECT_EQ(tracks.identify({face(0), face(500)}, milliseconds(0)), (Identifiers{1, 2}));
    EXPECT_EQ(tracks.identify({face(450), face(40, 30)}, milliseconds(100)), (Identifiers{2, 1}))
        << "the order does not count";
    EXPECT_EQ(
        tracks.identify({face(80, 60), face(900), face(400)}, milliseconds(200)), (Identifiers{1, 3, 2}));
    EXPECT_EQ(tracks.identify({face(900), face(120, 90)}, milliseconds(300)), (Identifiers{3, 1}));
    EXPECT_EQ(tracks.identify({face(300, 300)}, milliseconds(400)), Identifiers{4}) << "that is far from any";
}

TEST(FaceTracks, NeighboursAreToldApartByTheBestOverlap)
{
    FaceTracks tracks;
    EXPECT_EQ(tracks.identify({face(0), face(60)}, milliseconds(0)), (Identifiers{1, 2}));
    EXPECT_EQ(tracks.identify({face(50), face(58)}, milliseconds(100)), (Identifiers{1, 2}))
        << "the first one is nearer to the second's place, but the second is nearer still";
    EXPECT_EQ(tracks.identify({face(58), face(58), face(50)}, milliseconds(200)), (Identifiers{2, 3, 1}))
        << "nobody is there twice";
}

TEST(FaceTracks, AFaceMayBeMissedForHalfASecondAndIdentifiersAreNeverUsedAgain)
{
    FaceTracks tracks;
    EXPECT_EQ(tracks.identify({face(0)}, milliseconds(1000)), Identifiers{1});
    EXPECT_EQ(tracks.identify({}, milliseconds(1300)), Identifiers{});
    EXPECT_EQ(tracks.identify({face(10)}, milliseconds(1500)), Identifiers{1});
    EXPECT_EQ(tracks.identify({face(10)}, milliseconds(2000)), Identifiers{1})
        << "counted from the last time";
    EXPECT_EQ(tracks.identify({face(10)}, milliseconds(2501)), Identifiers{2});
    EXPECT_EQ(tracks.identify({}, milliseconds(9000)), Identifiers{});
    EXPECT_EQ(tracks.identify({face(10)}, milliseconds(9100)), Identifiers{3});
}

} // namespace

} // namespace tamsel::tests
