#include "support/LocatedHost.h"

#include <gtest/gtest.h>

#include <string>

namespace tamsel::tests {

using host::HostLocationSource;
using host::parseLocation;
using platform::CLHeading;
using platform::CLLocation;

TEST(HostLocation, IsReadFromText)
{
    const auto sydney = parseLocation("-33.8688, 151.2093,-4");
    ASSERT_TRUE(sydney && sydney->fixed);
    EXPECT_EQ(*sydney->fixed, (CLLocation{.latitude = -33.8688, .longitude = 151.2093, .altitude = -4}));
    EXPECT_EQ(*parseLocation("90,-180")->fixed, (CLLocation{.latitude = 90, .longitude = -180}));
    for (const char* text : {"", "1", "1,", "1,2,", "1,2,3,4", "1;2", "north,2", "1e1,2", "nan,2", "inf,2",
             "0x1,2", "90.001,0", "0,-180.001", "gps:localhost", "nmea:walk.nmea"})
        EXPECT_TRUE(errorOf(text).starts_with("'" + std::string(text) + "' is not a location: ")) << text;
    EXPECT_EQ(errorOf("91,0"), "'91,0' is not a location: the latitude is beyond 90 degrees");
    EXPECT_EQ(host::parseHeading("12.5"), CLHeading{12.5});
    EXPECT_EQ(host::parseHeading("360"), CLHeading{0});
    for (const char* text : {"-1", "360.1", "north", ""})
        EXPECT_FALSE(host::parseHeading(text)) << text;
}

TEST(HostLocation, GivesWhatIsFixedAtTheTimeOfTheQuestion)
{
    HostLocationSource source = *parseLocation("1,2,3");
    source.heading = CLHeading{90};
    Place place(source);
    EXPECT_EQ(place.manager->location()->timestamp, 0);
    place.clock.now += 1;
    EXPECT_EQ(place.manager->location()->timestamp, 1);
    EXPECT_EQ(place.manager->heading(), CLHeading{90});
    EXPECT_EQ(place.location->problem(), "");
    Place nowhere{HostLocationSource{}};
    EXPECT_FALSE(nowhere.manager->location() || nowhere.manager->heading());
    EXPECT_EQ(nowhere.location->problem(), "no source of a location is configured");
}

} // namespace tamsel::tests
