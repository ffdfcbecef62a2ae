#include <engine/location/NmeaLog.h>

#include <engine/location/NmeaFixes.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace tamsel::engine {

using platform::CLHeading;
using platform::Error;

namespace {

constexpr double fullCircle = 360; // degrees

std::unexpected<Error> failure(const std::string& name, const std::string& what)
{
    return std::unexpected(Error{name + ": " + what});
}

/// Zero where the sentence does not say it, east above zero. Absent when it is wrong.
std::optional<double> correction(const NmeaSentence& sentence, std::size_t field)
{
    if (sentence.field(field).empty())
        return 0;
    const auto degrees = sentence.number(field);
    const std::string_view side = sentence.field(field + 1);
    if (!degrees || *degrees < 0 || *degrees > fullCircle / 2 || (side != "E" && side != "W"))
        return std::nullopt;
    return side == "E" ? *degrees : -*degrees;
}

std::optional<CLHeading> headingFrom(const NmeaSentence& sentence)
{
    const std::string_view type = sentence.type();
    if (type != "HDT" && type != "THS" && type != "HDG")
        return std::nullopt;
    auto degrees = sentence.number(1);
    if (!degrees || *degrees < 0 || *degrees > fullCircle)
        return std::nullopt;
    if (type == "HDT" && sentence.field(2) != "T")
        return std::nullopt;
    if (type == "THS" && sentence.field(2) != "A")
        return std::nullopt;
    if (type == "HDG") {
        const auto deviation = correction(sentence, 2);
        const auto variation = correction(sentence, 4);
        if (!deviation || !variation || sentence.field(4).empty())
            return std::nullopt;
        *degrees += *deviation + *variation;
    }
    if (*degrees < 0 || *degrees >= fullCircle)
        *degrees = std::fmod(*degrees + fullCircle, fullCircle);
    return CLHeading{.trueHeading = *degrees};
}

} // namespace

std::expected<NmeaLog, Error> NmeaLog::read(const std::string& file, double now)
{
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (status.type() == std::filesystem::file_type::not_found)
        return failure(file, "there is no such file");
    if (std::filesystem::is_directory(status))
        return failure(file, "is a folder");
    if (!error && !std::filesystem::is_regular_file(status)) // reading could wait for ever
        return failure(file, "is not a regular file");
    std::ifstream stream(file, std::ios::binary);
    if (error || !stream)
        return failure(file, "cannot be read");
    return parse(stream, file, now);
}

std::expected<NmeaLog, Error> NmeaLog::parse(std::istream& stream, const std::string& name, double now)
{
    NmeaLog log;
    NmeaFixes fixes;
    bool isEmpty = true;
    forEachNmeaSentence(stream, [&](const NmeaSentence& sentence) {
        isEmpty = false;
        fixes.take(sentence);
        if (const auto heading = headingFrom(sentence))
            log.heading_ = heading;
    });
    if (stream.bad())
        return failure(name, "cannot be read");
    if (isEmpty)
        return failure(name, "no NMEA sentence in it");
    fixes.finish();
    log.location_ = fixes.last(now);
    return log;
}

} // namespace tamsel::engine
