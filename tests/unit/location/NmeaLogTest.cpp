#include <engine/location/NmeaLog.h>

#include <simulated/SimulatedLocation.h>

#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <sstream>
#include <string>
#include <utility>

namespace tamsel::tests {

using namespace std::chrono_literals;
using engine::NmeaLog;
using platform::CLHeading;
using platform::CLLocation;

namespace {

/// Seconds since 1970.
constexpr double at(std::chrono::year_month_day date, std::chrono::duration<double> time)
{
    return std::chrono::duration<double>(std::chrono::sys_days(date).time_since_epoch()).count()
        + time.count();
}

constexpr auto leapDay = 2024y / 2 / 29;
constexpr double now = at(2024y / 3 / 10, 12h);

/// With '$', checksum and the line's end.
std::string sentence(const std::string& body)
{
    int sum = 0;
    for (const char character : body)
        sum ^= character;
    constexpr const char* digits = "0123456789ABCDEF";
    return "$" + body + "*" + digits[sum / 16] + digits[sum % 16] + "\r\n";
}

/// A good fix at a time; `north` are whole degrees of latitude, by which tests know it again.
std::string gga(const std::string& time, int north = 10, const std::string& quality = "1",
    const std::string& hdop = "1.2", const std::string& altitude = "100.5,M")
{
    return sentence("GPGGA," + time + "," + std::to_string(north) + "00.0,N,02000.0,E," + quality + ",08,"
        + hdop + "," + altitude + ",40.0,M,,");
}

std::string rmc(const std::string& time, const std::string& date, const std::string& status = "A")
{
    return sentence("GPRMC," + time + "," + status + ",1000.0,N,02000.0,E,0.1,201.8," + date + ",01,W,A");
}

std::string gsa(int mode, const std::string& hdop = "2.0", const std::string& talker = "GP")
{
    return sentence(talker + "GSA,A," + std::to_string(mode) + ",10,28,09,13,,,,,,,,,3.4," + hdop + ",3.0");
}

NmeaLog logOf(const std::string& text)
{
    std::istringstream stream(text);
    auto log = NmeaLog::parse(stream, "walk.nmea", now);
    EXPECT_TRUE(log.has_value()) << log.error().localizedDescription;
    return log ? *std::move(log) : NmeaLog();
}

/// The latitude of the last fix, -1 without one.
double northOf(const std::string& text)
{
    return logOf(text).location().value_or(CLLocation{.latitude = -1}).latitude;
}

double timeOf(const std::string& text)
{
    return logOf(text).location().value_or(CLLocation{.timestamp = -1}).timestamp;
}

double headingOf(const std::string& body)
{
    return logOf(sentence(body)).heading().value_or(CLHeading{-1}).trueHeading;
}

} // namespace

TEST(NmeaLog, ReadsWhereAndWhenTheReceiverWasLast)
{
    const auto southWest = logOf(sentence("GNGGA,235959.25,3351.5,S,15112.6,W,4,12,0.9,-4.0,M,22,M,,")
        + sentence("GNRMC,235959.250,A,3351.5,S,15112.6,W,,,290224,,,A"));
    ASSERT_TRUE(southWest.location());
    EXPECT_DOUBLE_EQ(southWest.location()->latitude, -(33 + 51.5 / 60));
    EXPECT_DOUBLE_EQ(southWest.location()->longitude, -(151 + 12.6 / 60));
    EXPECT_EQ(southWest.location()->altitude, -4);
    EXPECT_DOUBLE_EQ(southWest.location()->horizontalAccuracy, 4.5) << "five metres times HDOP";
    EXPECT_DOUBLE_EQ(southWest.location()->timestamp, at(leapDay, 23h + 59min + 59.25s));
    EXPECT_FALSE(southWest.heading()) << "a course is none";

    const auto gnsAlone = logOf(sentence("GNGNS,120000,8959.999,N,18000.000,E,NAN,07,,17.5,30.2,,")
        + gsa(3, "0") + gsa(3, "1.5", "GL") + rmc("120000", "010180"));
    ASSERT_TRUE(gnsAlone.location()) << "one constellation is enough";
    EXPECT_DOUBLE_EQ(gnsAlone.location()->longitude, 180);
    EXPECT_EQ(gnsAlone.location()->altitude, 17.5);
    EXPECT_DOUBLE_EQ(gnsAlone.location()->horizontalAccuracy, 7.5) << "HDOP of the GSA that has one";
    EXPECT_EQ(gnsAlone.location()->timestamp, at(1980y / 1 / 1, 12h));
    const std::string gns = sentence("GNGNS,120000,1000,N,02000,E,AA,07,3.0,17.5,30.2,,");
    EXPECT_DOUBLE_EQ(logOf(gga("120000", 10, "1", "") + gsa(3) + gns).location()->horizontalAccuracy, 15)
        << "GNS before GSA";
    EXPECT_DOUBLE_EQ(logOf(gns + gga("120000.00") + gsa(3)).location()->horizontalAccuracy, 6)
        << "GGA before GNS";
}

TEST(NmeaLog, PassesOverWhatIsNoSentence)
{
    const std::string good = gga("120000", 11);
    const std::string bare = good.substr(0, good.find('*'));
    const auto star = good.find('*');
    std::string lower = good;
    for (auto digit = lower.begin() + static_cast<std::ptrdiff_t>(star); digit != lower.end(); ++digit)
        *digit = static_cast<char>(std::tolower(*digit));
    for (const std::string& text :
        {good, bare, bare + "\n", bare + std::string(100, '\0'), good.substr(0, star + 3),
            "\r\n\n" + good + "end\n", lower, std::string("\xB5\x62\0$\x01\n", 6) + good,
            std::string("\0\xFF", 2) + good + std::string(5000, '\0'), "2024-02-29 12:00:01 " + good,
            "\\s:rx,c:1*00\\" + good, std::string(100'000, 'x') + good,
            "$GPTXT," + std::string(100'000, 'x') + good, "$GPGGA,12" + good, "# 12 $ a day\n" + good,
            good + sentence("PGGGA,120000,1200,N,02000,E,1,08,1.2,100,M,,M,,"),
            good + "!AIVDM,1,1,,B,13aGhtw0R<OJf=6LgQ?Ad1FF05`L,0*24\n", good + "$gpgga,1,2,3\n"})
        EXPECT_EQ(northOf(text), 11) << text.substr(0, 60);
    for (const std::size_t place : {std::size_t{3}, std::size_t{20}, star - 1, star + 1, star + 2}) {
        std::string wrong = gga("120001", 12);
        wrong[place] = wrong[place] == '1' ? '2' : '1';
        EXPECT_EQ(northOf(good + wrong), 11) << "the checksum of " << wrong;
    }
    EXPECT_EQ(northOf(good + gga("120001", 12).substr(0, star + 2)), 11) << "half a checksum";
    EXPECT_EQ(northOf(good + gga("120001", 12).substr(0, 40)), 11) << "half a sentence";
}

TEST(NmeaLog, TakesOnlyWhatWasMeasuredInThreeDimensions)
{
    const std::string before = rmc("120000", "290224") + gga("120000", 11);
    for (const char* quality : {"1", "2", "3", "4", "5"})
        EXPECT_EQ(northOf(before + gga("120001", 12, quality)), 12) << quality;
    for (const char* quality : {"", "0", "6", "7", "8", "9", "12", "A"})
        EXPECT_EQ(northOf(before + gga("120001", 12, quality)), 11) << quality;
    for (const char* hdop : {"", "0", "0.0", "-1", "nan", "1e1"})
        EXPECT_EQ(northOf(before + gga("120001", 12, "1", hdop)), 11) << hdop;
    for (const char* altitude : {",", ",M", "7,", "7,f", "x,M", "--7,M", "+-7,M"})
        EXPECT_EQ(northOf(before + gga("120001", 12, "1", "1.2", altitude)), 11) << altitude;
    for (const char* place : {"9000.001,N,02000,E", "1260.0,N,02000,E", "1200,N,18000.01,E", "1200,X,02000,E",
             "1200,,02000,E", "-1200,N,02000,E", ",,,", "12,N,02000,E", "1200,N,02099,W", "120000,N,02000,E"})
        EXPECT_EQ(northOf(before + sentence("GPGGA,120001," + std::string(place) + ",1,08,1.2,7,M,,M,,")), 11)
            << place;
    for (const char* time :
        {"", "12", "240000", "126000", "120061", "12000a", "120001x", "120001.x", "-20001"})
        EXPECT_EQ(northOf(before + gga(time, 12)), 11) << time;
    for (const std::string& isVoid : {rmc("120001.00", "290224", "V"), rmc("120001", "", ""),
             sentence("GPGLL,1200,N,02000,E,120001,V,N")}) {
        EXPECT_EQ(northOf(before + gga("120001", 12) + isVoid), 11) << isVoid;
        EXPECT_EQ(northOf(before + isVoid + gga("120001", 12)), 11) << isVoid;
        EXPECT_EQ(northOf(before + isVoid + gga("120002", 12)), 12) << "another time than " << isVoid;
    }
    EXPECT_EQ(northOf(before + sentence("GNGNS,120001,1200,N,02000,E,NE,07,1.2,17.5,30.2,,")), 11);
    EXPECT_EQ(northOf(before + rmc("120001", "290224") + sentence("GPGLL,1200,N,02000,E,120001,A,A")), 11)
        << "no altitude at all";
}

TEST(NmeaLog, BelievesGsaWhereThereIsOne)
{
    const std::string before = gga("120000", 11) + gsa(3);
    EXPECT_EQ(northOf(before + gga("120001", 12) + gsa(2)), 11);
    EXPECT_EQ(northOf(before + gga("120001", 12) + gsa(1) + rmc("120001", "290224")), 11);
    EXPECT_EQ(northOf(before + gga("120001", 12) + gsa(3) + gga("120002", 13) + gsa(2)), 12);
    EXPECT_EQ(northOf(before + gga("120001", 12)), 12) << "the latest one holds";
    for (const auto& [first, second] : {std::pair{1, 3}, std::pair{3, 1}, std::pair{3, 2}}) {
        const std::string both = gsa(first, "1.1", "GP") + gsa(second, "1.1", "GL");
        EXPECT_EQ(northOf(before + gga("120001", 12) + both), 12) << "the better constellation counts";
        EXPECT_EQ(northOf(both + gga("120001", 12)), 12) << "also in front";
    }
    EXPECT_EQ(northOf(gga("120001", 12) + gga("120002", 13) + gsa(1)), -1)
        << "from before the first GSA, which may be far into the log";
    EXPECT_EQ(northOf(before + gga("120001", 12) + sentence("GPGSA,A,,,,,,,,,,,,,,,,")), 11)
        << "says nothing";
    const std::string six = "GPGSA,A,2,03,06,07,11,19,22,,,,,,,1.3,1.0,";
    EXPECT_EQ(northOf(before + gga("120001", 12) + sentence(six + "0.8,1")), 12)
        << "two-dimensional, of six satellites, with a known height";
    EXPECT_EQ(northOf(before + gga("120001", 12) + sentence(six)), 11);
}

TEST(NmeaLog, CarriesTheDateOnAndBackOverMidnight)
{
    const auto second = [](const char* date) {
        return rmc("235958", date) + gga("235958") + gga("235959") + gga("000000") + gga("000001.5");
    };
    EXPECT_EQ(timeOf(second("280224")), at(leapDay, 1.5s));
    EXPECT_EQ(timeOf(second("290224")), at(2024y / 3 / 1, 1.5s));
    EXPECT_EQ(timeOf(second("311279")), at(2080y / 1 / 1, 1.5s)) << "79 is 2079";
    EXPECT_EQ(timeOf(second("311280")), at(1981y / 1 / 1, 1.5s)) << "80 is 1980";
    EXPECT_EQ(timeOf(second("290223")), at(2024y / 3 / 10, 1.5s)) << "no such day, so from now";
    std::string days = rmc("060000", "290224");
    for (const char* time : {"120000", "180000", "000000", "060000", "130000", "200000", "010000"})
        days += gga(time);
    EXPECT_EQ(timeOf(days), at(2024y / 3 / 2, 1h)) << "two midnights later";
    EXPECT_EQ(timeOf(rmc("000001", "010324") + gga("235959")), at(leapDay, 24h - 1s))
        << "late, from the day before";
    EXPECT_EQ(timeOf(rmc("120000", "290224") + gga("115959")), at(leapDay, 12h - 1s))
        << "late on the same day";
    EXPECT_EQ(timeOf(gga("235959") + gga("000000") + rmc("000001", "290224")), at(leapDay, 0s))
        << "a date that came after the fix";
    EXPECT_EQ(timeOf(gga("235959") + rmc("000001", "290224")), at(2024y / 2 / 28, 24h - 1s));
    EXPECT_EQ(
        timeOf(gga("235959") + sentence("GPZDA,000001.00,29,02,2024,00,00")), at(2024y / 2 / 28, 24h - 1s))
        << "a receiver whose ZDA is ahead";
    EXPECT_EQ(timeOf(rmc("120000", "290224") + gga("120000") + sentence("GPZDA,120002,01,01,2030,00,00")
                  + gga("120001", 12, "0")),
        at(leapDay, 12h))
        << "the date of its own time counts";
    EXPECT_EQ(timeOf(sentence("GPZDA,120000,29,02,2024,00,00") + gga("120000")), at(leapDay, 12h));
}

TEST(NmeaLog, WithoutAnyDateWasWrittenInTheLastDay)
{
    EXPECT_EQ(timeOf(gga("120000")), now) << "not after now";
    EXPECT_EQ(timeOf(gga("120000.001")), at(2024y / 3 / 9, 12h + 1ms));
    EXPECT_EQ(timeOf(gga("110000")), at(2024y / 3 / 10, 11h));
    EXPECT_EQ(timeOf(rmc("110000", "") + gga("110000")), at(2024y / 3 / 10, 11h));
}

TEST(NmeaLog, TakesTheLastTrueHeading)
{
    EXPECT_EQ(headingOf("HEHDT,4.1,T"), 4.1);
    EXPECT_EQ(headingOf("GNTHS,359.9,A"), 359.9);
    EXPECT_EQ(headingOf("HCHDT,360.0,T"), 0);
    EXPECT_DOUBLE_EQ(headingOf("HCHDG,10.5,2.0,W,12.5,W"), 356);
    EXPECT_DOUBLE_EQ(headingOf("HCHDG,350.5,2.0,E,12.5,E"), 5);
    EXPECT_DOUBLE_EQ(headingOf("HCHDG,10.5,,,2.5,W"), 8) << "no deviation";
    for (const char* none : {"HCHDG,10.5,2.0,W,,", "HCHDG,10.5", "HCHDG,10.5,2.0,,1,E", "HCHDG,10.5,x,E,1,E",
             "HCHDM,10.5,M", "GNTHS,10.5,V", "GNTHS,10.5,E", "HEHDT,,T", "HEHDT,361,T", "HEHDT,-1,T",
             "GPVTG,3.1,T,,,0.50,N,,,D", "GPRMC,120000,A,1000,N,02000,E,5,12.5,290224,3,E,A"})
        EXPECT_EQ(headingOf(none), -1) << none;
    EXPECT_EQ(
        logOf(sentence("HEHDT,1,T") + sentence("HEHDT,2,T") + sentence("GNTHS,,V")).heading(), CLHeading{2});
}

TEST(NmeaLog, RefusesAFileWithoutSentencesInOneLineThatNamesIt)
{
    const auto errorOf = [](const std::string& text) {
        std::istringstream stream(text);
        const auto log = NmeaLog::parse(stream, "walk.nmea", now);
        return log ? "no error" : log.error().localizedDescription;
    };
    for (const std::string& text : {std::string(), std::string("lat,lon\n1,2\n"), std::string(5000, '\0'),
             std::string("$GPGGA,1*00\n"), std::string("$GPGGA,\x01,1\n"), std::string("$12,50\n$PATH\n")})
        EXPECT_EQ(errorOf(text), "walk.nmea: no NMEA sentence in it") << text;
    EXPECT_EQ(errorOf("$PUBX,00\n"), "no error") << "nothing to say, but a log";
    const auto readError
        = [](const std::string& file) { return NmeaLog::read(file, now).error().localizedDescription; };
    EXPECT_EQ(readError("/nowhere/walk.nmea"), "/nowhere/walk.nmea: there is no such file");
    EXPECT_EQ(readError("/"), "/: is a folder");
    EXPECT_EQ(readError("/dev/zero"), "/dev/zero: is not a regular file") << "it would never end";
}

TEST(SimulatedLocation, IsWhatTheTestSaysAlsoToManagersThatAreThere)
{
    auto services = std::make_unique<simulated::SimulatedLocation>();
    const auto manager = services->makeLocationManager();
    EXPECT_FALSE(manager->location() || manager->heading());
    services->setLocation(CLLocation{.latitude = 1});
    services->setHeading(CLHeading{90});
    EXPECT_EQ(services->managersMade(), 1);
    services.reset();
    EXPECT_EQ(manager->location(), (CLLocation{.latitude = 1}));
    EXPECT_EQ(manager->heading(), CLHeading{90});
}

} // namespace tamsel::tests
