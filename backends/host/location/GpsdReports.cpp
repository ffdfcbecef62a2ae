#include <host/location/GpsdReports.h>

#include <gps.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace tamsel::host {

using platform::CLHeading;
using platform::CLLocation;

struct GpsdReports::Data {
    gps_data_t gps{};
};

namespace {

// Metres: below the deepest trench, and the height of the satellites.
constexpr double lowestPlace = -12'000;
constexpr double highestPlace = 20'200'000;

std::optional<CLLocation> locationFrom(const gps_fix_t& fix)
{
    // False for what is not a number.
    const auto isWithin
        = [](double value, double least, double most) { return value >= least && value <= most; };
    const bool isPlace = isWithin(fix.latitude, -90, 90) && isWithin(fix.longitude, -180, 180)
        && isWithin(fix.altMSL, lowestPlace, highestPlace) && fix.eph >= 0 && std::isfinite(fix.eph);
    if (fix.mode != MODE_3D || !isPlace || fix.time.tv_sec <= 0)
        return std::nullopt;
    return CLLocation{.latitude = fix.latitude,
        .longitude = fix.longitude,
        .altitude = fix.altMSL,
        .horizontalAccuracy = fix.eph,
        .timestamp = static_cast<double>(fix.time.tv_sec) + static_cast<double>(fix.time.tv_nsec) * 1e-9};
}

} // namespace

GpsdReports::GpsdReports() : data_(std::make_unique<Data>()) { }

GpsdReports::~GpsdReports() = default;

GpsdReports::Report GpsdReports::read(std::string line)
{
    gps_data_t& gps = data_->gps;
    gps.set = 0; // else a line without values leaves that of the last one
    if (gps_unpack(line.data(), &gps) != 0)
        return {};
    Report report;
    if ((gps.set & MODE_SET) != 0 && (gps.set & LATLON_SET) != 0)
        report.location = locationFrom(gps.fix);
    if ((gps.set & ATTITUDE_SET) != 0 && std::isfinite(gps.attitude.heading))
        report.heading = CLHeading{.trueHeading = gps.attitude.heading};
    return report;
}

} // namespace tamsel::host
