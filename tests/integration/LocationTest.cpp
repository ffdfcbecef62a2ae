#include "support/LocatedHost.h"
#include "support/Media.h"

#include <gtest/gtest.h>

#include <ctime>
#include <fstream>
#include <iomanip>
#include <map>
#include <optional>
#include <sstream>
#include <string>

namespace tamsel::tests {

using engine::NmeaLog;
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
             "0x1,2", "90.001,0", "0,-180.001", "gps:localhost"})
        EXPECT_TRUE(errorOf(text).starts_with("'" + std::string(text) + "' is no location: ")) << text;
    EXPECT_EQ(errorOf("91,0"), "'91,0' is no location: the latitude is beyond 90 degrees");
    EXPECT_EQ(errorOf("nmea:/nowhere/walk.nmea"), "/nowhere/walk.nmea: there is no such file");
    EXPECT_EQ(errorOf("nmea:"), "nmea: needs the name of a file");
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
    EXPECT_EQ(place.manager->location()->timestamp, 1'700'000'000);
    place.clock.now += 1;
    EXPECT_EQ(place.manager->location()->timestamp, 1'700'000'001);
    EXPECT_EQ(place.manager->heading(), CLHeading{90});
    EXPECT_EQ(place.location->problem(), "");
    Place nowhere{HostLocationSource{}};
    EXPECT_FALSE(nowhere.manager->location() || nowhere.manager->heading());
    EXPECT_EQ(nowhere.location->problem(), "no source of a location is configured");
}

TEST(HostLocation, GivesTheLastFixOfALog)
{
    const ScratchFolder folder;
    const std::string heading = "$HEHDT,4.1,T\n";
    writeFile(folder.file("walk.nmea"), readFile(testData("nmea/ac12.nmea")) + heading);
    HostLocationSource source = *parseLocation("nmea:" + folder.file("walk.nmea"));
    const Place place(source);
    ASSERT_TRUE(place.manager->location());
    EXPECT_NEAR(place.manager->location()->latitude, 20.628838667, 1e-9);
    EXPECT_NEAR(place.manager->location()->longitude, -87.068070500, 1e-9);
    EXPECT_EQ(place.manager->location()->altitude, -28.28);
    EXPECT_DOUBLE_EQ(place.manager->location()->horizontalAccuracy, 8.5);
    EXPECT_EQ(place.manager->location()->timestamp, 1198438347) << "2007-12-23 19:32:27";
    EXPECT_EQ(place.manager->heading(), CLHeading{4.1});
    source.heading = CLHeading{90};
    EXPECT_EQ(Place(source).manager->heading(), CLHeading{90}) << "what a person says stands above";
    writeFile(folder.file("walk.nmea"), heading);
    const Place nowhere(*parseLocation("nmea:" + folder.file("walk.nmea")));
    EXPECT_EQ(nowhere.manager->heading(), CLHeading{4.1});
    EXPECT_EQ(
        nowhere.location->problem(), "the NMEA log has no three-dimensional fix with altitude and HDOP");
}

namespace {

/// The number behind a name in a line of JSON.
std::optional<double> numberOf(const std::string& line, const std::string& name)
{
    const std::size_t at = line.find("\"" + name + "\":");
    if (at == std::string::npos)
        return std::nullopt;
    return std::stod(line.substr(at + name.size() + 3));
}

/// Every fix that the log has had at one of its lines, once its date was known, by its time.
std::map<double, CLLocation> fixesOf(const std::string& file)
{
    std::map<double, CLLocation> fixes;
    std::ifstream stream(file, std::ios::binary);
    std::string text;
    for (std::string line; std::getline(stream, line);) {
        text += line + "\n";
        std::istringstream part(text);
        const auto log = NmeaLog::parse(part, file, 0);
        if (log && log->location() && log->location()->timestamp > 0)
            fixes[log->location()->timestamp] = *log->location();
    }
    return fixes;
}

/// What gpsd says of the same log, without the number of 1024-week rounds by which it mistakes old dates.
std::map<double, CLLocation> expectedFixesOf(const std::string& file)
{
    constexpr double round = 1024.0 * 7 * 86400;
    std::map<double, CLLocation> fixes;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        const auto altitude = numberOf(line, "altMSL");
        const std::size_t at = line.find("\"time\":\"");
        if (!line.contains("\"class\":\"TPV\"") || numberOf(line, "mode") != 3 || !altitude
            || at == std::string::npos)
            continue;
        std::tm time{};
        double seconds = 0;
        std::istringstream stamp(line.substr(at + 8));
        stamp >> std::get_time(&time, "%Y-%m-%dT%H:%M:") >> seconds;
        double timestamp = static_cast<double>(::timegm(&time)) + seconds;
        if (time.tm_year + 1900 > 2021)
            timestamp -= round;
        fixes[timestamp] = {*numberOf(line, "lat"), *numberOf(line, "lon"), *altitude, 0, timestamp};
    }
    return fixes;
}

} // namespace

TEST(HostLocation, AgreesWithGpsdOnLogsOfRealReceivers)
{
    const auto folder = media("nmea");
    if (!folder)
        GTEST_SKIP() << "TAMSEL_MEDIA names no folder with logs";
    struct Known {
        std::string name;
        std::size_t
            fixes; ///< of ours, for which gpsd has one, but for the newest of a log that ends in its middle
        double last; ///< time of the log's last one, 0 without
    };
    for (const auto& [name, fixes, last] : {
             Known{"ac12", 7, 1198438347}, Known{"neo-m8n", 23, 1426699188},
             Known{"nmea-fuzzy-cases", 14, 1584538740.9},
             Known{"quectel", 34, 1602037262}, // its GSA always say two-dimensional
             Known{"saab-r4", 0, 0}, // no altitude
         }) {
        const std::string file = *folder + "/" + name + ".nmea";
        const auto ours = fixesOf(file);
        const auto theirs = expectedFixesOf(*folder + "/" + name + ".expected.jsonl");
        for (const auto& [time, fix] : ours) {
            const auto found = theirs.find(time);
            if (found == theirs.end()) {
                EXPECT_EQ(time, 1426699188) << name;
                continue;
            }
            // gpsd prefers the position in RMC, which has fewer decimals from some receivers.
            EXPECT_NEAR(fix.latitude, found->second.latitude, 8.4e-7) << name << " at " << time;
            EXPECT_NEAR(fix.longitude, found->second.longitude, 8.4e-7) << name << " at " << time;
            EXPECT_NEAR(fix.altitude, found->second.altitude, 1e-3) << name << " at " << time;
        }
        EXPECT_EQ(ours.size(), fixes) << name;
        const auto log = NmeaLog::read(file, 0);
        ASSERT_TRUE(log) << name;
        EXPECT_EQ(log->location().value_or(CLLocation{}).timestamp, last) << name;
    }
    EXPECT_EQ(NmeaLog::read(*folder + "/bu303-moving.nmea", 0).error().localizedDescription,
        *folder + "/bu303-moving.nmea: no NMEA sentence in it")
        << "only a maker's binary messages";
}

} // namespace tamsel::tests
