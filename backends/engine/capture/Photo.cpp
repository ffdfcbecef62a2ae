#include <engine/capture/Photo.h>

#include <engine/capture/turnPixels.h>

#include <tamsel/platform/Geometry.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace tamsel::engine {

using namespace platform;

namespace {

struct Moment {
    std::string dateTime; ///< "2026:11:25 14:03:59", local
    std::string offset; ///< "+01:00"
    std::string subseconds; ///< milliseconds, "042"
};

Moment momentOf(double secondsSince1970, int secondsFromUTC)
{
    using namespace std::chrono;
    const auto instant = sys_time<milliseconds>{
        milliseconds{std::llround(std::floor(secondsSince1970 * 1000)) + 1000LL * secondsFromUTC}};
    const sys_days day = floor<days>(instant);
    const year_month_day date{day};
    const hh_mm_ss time{instant - day};
    const auto number = [](auto value) { return static_cast<int>(value); };
    std::array<char, 64> text{};
    Moment moment;
    std::snprintf(text.data(), text.size(), "%04d:%02d:%02d %02d:%02d:%02d", number(int{date.year()}),
        number(unsigned{date.month()}), number(unsigned{date.day()}), number(time.hours().count()),
        number(time.minutes().count()), number(time.seconds().count()));
    moment.dateTime = text.data();
    std::snprintf(text.data(), text.size(), "%03d", number(time.subseconds().count()));
    moment.subseconds = text.data();
    const int minutesFromUTC = std::abs(secondsFromUTC) / 60;
    std::snprintf(text.data(), text.size(), "%c%02d:%02d", secondsFromUTC < 0 ? '-' : '+',
        minutesFromUTC / 60, minutesFromUTC % 60);
    moment.offset = text.data();
    return moment;
}

/// The tag Flash: bit 0 fired, bits 3 and 4 the mode, bit 5 no flash there. Whether an automatic flash has fired is
/// unknown.
int flashValue(const PhotoFacts& facts)
{
    if (!facts.hasFlash)
        return 0x20;
    switch (facts.flashMode) {
    case AVCaptureFlashMode::on:
        return 0x09;
    case AVCaptureFlashMode::automatic:
        return 0x18;
    case AVCaptureFlashMode::off:
        break;
    }
    return 0x10;
}

} // namespace

PropertyDictionary photoMetadata(const PhotoFacts& facts)
{
    constexpr int inches = 2;
    constexpr int sRGB = 1;
    constexpr int centred = 1;
    const Moment moment = momentOf(facts.takenAt, facts.secondsFromUTC);
    const auto width = static_cast<std::int64_t>(facts.width);
    const auto height = static_cast<std::int64_t>(facts.height);
    const auto orientation = static_cast<std::int64_t>(orientationAfter(facts.quarterTurns));
    PropertyDictionary tiff{
        {std::string(kCGImagePropertyTIFFModel), facts.model},
        {std::string(kCGImagePropertyTIFFOrientation), orientation},
        {std::string(kCGImagePropertyTIFFXResolution), 72.0},
        {std::string(kCGImagePropertyTIFFYResolution), 72.0},
        {std::string(kCGImagePropertyTIFFResolutionUnit), inches},
        {std::string(kCGImagePropertyTIFFSoftware), facts.systemVersion},
        {std::string(kCGImagePropertyTIFFDateTime), moment.dateTime},
        {std::string(kCGImagePropertyTIFFYCbCrPositioning), centred},
    };
    PropertyDictionary exif{
        {std::string(kCGImagePropertyExifDateTimeOriginal), moment.dateTime},
        {std::string(kCGImagePropertyExifDateTimeDigitized), moment.dateTime},
        {std::string(kCGImagePropertyExifOffsetTime), moment.offset},
        {std::string(kCGImagePropertyExifOffsetTimeOriginal), moment.offset},
        {std::string(kCGImagePropertyExifOffsetTimeDigitized), moment.offset},
        {std::string(kCGImagePropertyExifSubsecTime), moment.subseconds},
        {std::string(kCGImagePropertyExifSubsecTimeOriginal), moment.subseconds},
        {std::string(kCGImagePropertyExifSubsecTimeDigitized), moment.subseconds},
        {std::string(kCGImagePropertyExifFlash), flashValue(facts)},
        {std::string(kCGImagePropertyExifColorSpace), sRGB},
        {std::string(kCGImagePropertyExifPixelXDimension), width},
        {std::string(kCGImagePropertyExifPixelYDimension), height},
    };
    return {
        {std::string(kCGImagePropertyPixelWidth), width},
        {std::string(kCGImagePropertyPixelHeight), height},
        {std::string(kCGImagePropertyOrientation), orientation},
        {std::string(kCGImagePropertyTIFFDictionary), std::move(tiff)},
        {std::string(kCGImagePropertyExifDictionary), std::move(exif)},
    };
}

} // namespace tamsel::engine
