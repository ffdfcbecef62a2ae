#include "support/Loopback.h"
#include "support/Media.h"
#include "support/ReplacedServices.h"

#include <host/location/HostLocation.h>
#include <host/location/HostLocationSource.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tamsel::tests {

using host::GpsdAddress;
using host::HostLocationSource;
using host::parseLocation;
using platform::CLHeading;
using platform::CLLocation;

namespace {

/// What is wrong with a text that should name a location.
std::string errorOf(const std::string& text)
{
    const auto source = host::parseLocation(text);
    return source ? "no error" : source.error().localizedDescription;
}

/// A host's location.
struct Place {
    explicit Place(host::HostLocationSource source)
        : location(std::make_unique<host::HostLocation>(std::move(source), clock)),
          manager(location->makeLocationManager())
    {
    }
    explicit Place(std::uint16_t port)
        : Place(host::HostLocationSource{.gpsd = host::GpsdAddress{.host = "127.0.0.1", .port = port}})
    {
    }

    bool waitForProblem(const std::string& end)
    {
        return waitUntil([&] { return location->problem().ends_with(end); });
    }

    ScriptedClock clock;
    std::unique_ptr<host::HostLocation> location;
    std::unique_ptr<platform::CLLocationManager> manager;
};

} // namespace

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

#ifdef TAMSEL_GPSD

// Each connection of libgps looks "tcp" up with getprotobyname, which writes the same entry for the whole process.
extern "C" const char*
__tsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier): ThreadSanitizer's name
extern "C" const char* __tsan_default_suppressions()
{
    return "called_from_lib:libgps.so\n";
}

namespace {

const std::string banner = "{\"class\":\"VERSION\",\"release\":\"3.22\",\"rev\":\"3.22\",\"proto_major\":3,"
                           "\"proto_minor\":14}\r\n";

/// A fix in the middle of the Atlantic; `without` is left out.
std::string report(int mode, int latitude, const std::string& without = {})
{
    std::string text = "{\"class\":\"TPV\",\"mode\":" + std::to_string(mode);
    for (const auto& [name, value] :
        {std::pair<std::string, std::string>{"time", "\"2024-02-29T12:00:00.250Z\""},
            {"lat", std::to_string(latitude)}, {"lon", "-30.5"}, {"altHAE", "99"}, {"altMSL", "-12.5"},
            {"eph", "7.5"}}) {
        if (name != without)
            text += ",\"" + name + "\":" + value;
    }
    return text + "}\r\n";
}

std::string once(int turn, const std::string& text)
{
    return turn == 0 ? text : "";
}

} // namespace

TEST(HostLocationGpsd, IsReadFromText)
{
    EXPECT_EQ(parseLocation("gpsd:localhost")->gpsd, (GpsdAddress{"localhost", 2947}));
    EXPECT_EQ(parseLocation("gpsd:10.0.0.1:29")->gpsd, (GpsdAddress{"10.0.0.1", 29}));
    EXPECT_EQ(parseLocation("gpsd:[::1]")->gpsd, (GpsdAddress{"::1", 2947}));
    EXPECT_EQ(parseLocation("gpsd:[fe80::1%eth0]:65535")->gpsd, (GpsdAddress{"fe80::1%eth0", 65535}));
    for (const char* text :
        {"", ":1", "a:", "a:0", "a:65536", "a:1x", "a:-1", "::1", "[::1", "[::1]1", "[::1]:", "[]:1"})
        EXPECT_TRUE(errorOf("gpsd:" + std::string(text))
                .starts_with("'" + std::string(text) + "' is not an address: "))
            << text;
}

TEST(HostLocationGpsd, KeepsTheLastWholeFix)
{
    const Speaker daemon([](int turn) {
        return once(turn,
            banner + report(2, 1) + report(3, 2) + report(2, 3) + report(3, 4, "eph") + report(3, 91)
                + report(3, 5, "altMSL") + report(3, 6, "time") + report(3, 7, "lat") + report(1, 8)
                + "{\"class\":\"TPV\",\"mode\":3}\r\nnonsense\r\n{\"class\":\"SKY\",\"hdop\":\r\n"
                + "{\"class\":\"ATT\",\"heading\":4.5}\r\n{\"class\":\"ATT\",\"yaw\":7}\r\n" + report(2, 9)
                + "{\"class\":\"ATT\",\"heading\":5.5}\r\n");
    });
    Place place(HostLocationSource{.gpsd = GpsdAddress{.host = "localhost", .port = daemon.port()}});
    ASSERT_TRUE(waitUntil([&] { return place.manager->heading() == CLHeading{5.5}; }));
    EXPECT_EQ(place.manager->location(), (CLLocation{2, -30.5, -12.5, 7.5, 1709208000.25}));
    EXPECT_EQ(place.location->problem(), "");
}

TEST(HostLocationGpsd, SaysWhyThereIsNoLocation)
{
    const Speaker mute([](int) { return ""; });
    const Speaker another([](int turn) { return once(turn, "220 mail.example.org\r\n"); });
    const Speaker unfixed([](int turn) { return once(turn, banner + report(2, 1)); });
    Place connecting(mute.port());
    EXPECT_EQ(
        connecting.location->problem(), "gpsd at 127.0.0.1:" + std::to_string(mute.port()) + ": connecting");
    Place stranger(another.port());
    EXPECT_TRUE(stranger.waitForProblem(": the server there is not gpsd"));
    Place waiting(unfixed.port());
    EXPECT_TRUE(waiting.waitForProblem(": no three-dimensional fix yet"));
    Place refused(freePort());
    EXPECT_TRUE(refused.waitForProblem(": can't connect to host/port pair"));
    Place unknown(HostLocationSource{.gpsd = GpsdAddress{.host = "no such host", .port = 1}});
    EXPECT_TRUE(waitUntil([&] { return !unknown.location->problem().ends_with(": connecting"); }));
    EXPECT_TRUE(unknown.location->problem().starts_with("gpsd at no such host:1: "));
    EXPECT_FALSE(unknown.manager->location());
}

TEST(HostLocationGpsd, EndsWhateverTheDaemonDoes)
{
    const SilentPort silent;
    const Speaker mute([](int) { return ""; });
    const Speaker unfixed([](int turn) { return once(turn, banner); });
    const std::uint16_t nobody = freePort();
    for (const std::uint16_t port : {silent.port(), mute.port(), unfixed.port(), nobody}) {
        Place place(port);
        if (port == unfixed.port()) {
            ASSERT_TRUE(place.waitForProblem(": no three-dimensional fix yet"));
        }
        if (port == nobody) { // the reader pauses then
            ASSERT_TRUE(place.waitForProblem(": can't connect to host/port pair"));
        }
        place.location.reset();
        EXPECT_FALSE(place.manager->location()) << "managers may outlive it";
    }
}

namespace {

std::optional<std::string> daemonProgram()
{
    for (const char* file : {"/usr/sbin/gpsd", "/usr/local/sbin/gpsd", "/usr/bin/gpsd"}) {
        if (::access(file, X_OK) == 0)
            return file;
    }
    return std::nullopt;
}

/// A receiver at this latitude, one second of 2024-02-29 a turn.
std::string receiver(int turn, int north)
{
    const std::string time = std::to_string(120000 + turn / 60 % 60 * 100 + turn % 60) + ".00";
    const std::string place = std::to_string(north) + "30.0,N,02015.0,W";
    std::string text;
    for (const std::string& body : {"GPGGA," + time + "," + place + ",1,08,1.2,-12.5,M,40.0,M,,",
             std::string("GPGSA,A,3,10,28,09,13,,,,,,,,,3.4,1.2,3.0"),
             "GPRMC," + time + ",A," + place + ",0.1,201.8,290224,,,A", std::string("GPHDT,4.1,T")}) {
        unsigned sum = 0;
        for (const char character : body)
            sum ^= static_cast<unsigned char>(character);
        constexpr std::string_view digits = "0123456789ABCDEF";
        text += "$" + body + "*" + digits[sum / 16] + digits[sum % 16] + "\r\n";
    }
    return text;
}

std::vector<std::string> daemonArguments(
    const std::string& program, std::uint16_t port, const Speaker& receiver)
{
    return {program, "-N", "-n", "-S", std::to_string(port),
        "tcp://127.0.0.1:" + std::to_string(receiver.port())};
}

} // namespace

TEST(HostLocationGpsd, FollowsARealDaemonThatGoesAndComesBack)
{
    const auto program = daemonProgram();
    if (!program)
        GTEST_SKIP() << "gpsd is not installed";
    const Speaker first([](int turn) { return receiver(turn, 10); });
    const Speaker second([](int turn) { return receiver(turn, 11); });
    const std::uint16_t port = freePort();
    Place place(port);
    EXPECT_TRUE(place.waitForProblem(": can't connect to host/port pair")) << "it is not there yet";
    std::optional<ChildProcess> daemon(std::in_place, daemonArguments(*program, port, first));
    ASSERT_TRUE(waitUntil([&] { return place.manager->location() && place.manager->heading(); }))
        << place.location->problem();
    const auto fix = place.manager->location().value_or(CLLocation{});
    EXPECT_NEAR(fix.latitude, 10.5, 1e-9);
    EXPECT_NEAR(fix.longitude, -20.25, 1e-9);
    EXPECT_EQ(fix.altitude, -12.5) << "above mean sea level";
    EXPECT_GT(fix.horizontalAccuracy, 1);
    EXPECT_LT(fix.horizontalAccuracy, 100);
    EXPECT_GE(fix.timestamp, 1709208000);
    EXPECT_LT(fix.timestamp, 1709208000 + 3600);
    EXPECT_EQ(place.manager->heading(), CLHeading{4.1});
    EXPECT_EQ(place.location->problem(), "");

    daemon.reset();
    EXPECT_TRUE(waitUntil([&] { return !place.location->problem().empty(); })) << "it went";
    EXPECT_NEAR(place.manager->location().value_or(CLLocation{}).latitude, 10.5, 1e-9)
        << "still the last known";
    daemon.emplace(daemonArguments(*program, port, second));
    EXPECT_TRUE(waitUntil([&] { return place.manager->location().value_or(CLLocation{}).latitude > 11; }));
    EXPECT_EQ(place.location->problem(), "");
}

#else

TEST(HostLocationGpsd, IsSaidToBeMissing)
{
    EXPECT_EQ(errorOf("gpsd:localhost"), "this build has no gpsd support");
}

#endif

} // namespace tamsel::tests
