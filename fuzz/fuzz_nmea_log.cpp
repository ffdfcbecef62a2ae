// Any bytes as an NMEA log: a fix within its ranges, or none, or one line that says what is wrong; and the same again with
// other bytes around it that are no sentence.

#include <engine/location/NmeaLog.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

using tamsel::engine::NmeaLog;

namespace {

constexpr double now = 1'700'000'000;
constexpr double yearOne = -62'200'000'000; // seconds since 1970
constexpr double yearTenThousand = 253'500'000'000;

void require(bool condition)
{
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(data, data + size);
    std::istringstream stream(text);
    const auto log = NmeaLog::parse(stream, "log", now);
    if (!log) {
        require(log.error().localizedDescription == "log: no NMEA sentence in it");
        return 0;
    }
    if (const auto& fix = log->location()) {
        require(std::abs(fix->latitude) <= 90 && std::abs(fix->longitude) <= 180);
        require(std::isfinite(fix->altitude));
        require(std::isfinite(fix->horizontalAccuracy) && fix->horizontalAccuracy > 0);
        require(fix->timestamp > yearOne && fix->timestamp < yearTenThousand);
    }
    if (const auto& heading = log->heading())
        require(heading->trueHeading >= 0 && heading->trueHeading < 360);
    std::istringstream surrounded("\n# $\xFF\n" + text + "\n!AIVDM,1,1,,B,1,0*00\n");
    const auto again = NmeaLog::parse(surrounded, "log", now);
    require(again && again->location() == log->location() && again->heading() == log->heading());
    return 0;
}
