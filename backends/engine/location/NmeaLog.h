#pragma once

#include <tamsel/platform/CLLocationManager.h>
#include <tamsel/platform/Error.h>

#include <expected>
#include <iosfwd>
#include <optional>
#include <string>

namespace tamsel::engine {

/// Where a receiver was last, from what it has said as NMEA 0183 sentences (GGA, GNS, RMC, GLL, GSA, ZDA; HDT, THS, HDG).
/// Sentences of one time of day belong together. Their fix counts when it
/// - has a position, an altitude above mean sea level and an HDOP, which is taken times five metres as the accuracy
/// - was measured: GGA's quality is 1 to 5 (of GNS one mode A, D, F, P or R), and RMC and GLL do not say V
/// - is three-dimensional by the latest GSA; of several at a time the best counts. A log without any GSA is believed.
/// The date is that of RMC or ZDA, carried on over midnight where they are missing. A true heading is that of HDT or THS,
/// or that of HDG with its deviation and variation; a course or a magnetic heading alone is none.
class NmeaLog {
public:
    /// What a receiver has said until now, in seconds since 1970-01-01 00:00 UTC: a log without any date was written in
    /// the 24 hours before. The error is one line that names the file: it cannot be read, or holds no sentence.
    [[nodiscard]] static std::expected<NmeaLog, platform::Error> read(const std::string& file, double now);
    /// The same from a stream; `name` stands for the file in errors.
    [[nodiscard]] static std::expected<NmeaLog, platform::Error> parse(
        std::istream& stream, const std::string& name, double now);

    /// Absent when no fix counts.
    [[nodiscard]] const std::optional<platform::CLLocation>& location() const { return location_; }
    /// In [0, 360). Absent when there is no true heading.
    [[nodiscard]] const std::optional<platform::CLHeading>& heading() const { return heading_; }

private:
    std::optional<platform::CLLocation> location_;
    std::optional<platform::CLHeading> heading_;
};

} // namespace tamsel::engine
