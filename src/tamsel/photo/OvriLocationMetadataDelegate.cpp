#include <tamsel/photo/OvriLocationMetadataDelegate.h>

#include <tamsel/platform/CLLocationManager.h>
#include <tamsel/platform/LocationServices.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/UIDevice.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

namespace tamsel {

using namespace platform;
using CameraModel = OvriLocationMetadataDelegate::CameraModel;

namespace {

constexpr std::array<std::string_view, 3> cameraModelNames{"facing front", "facing back", "photo album"};
constexpr std::string_view softwarePrefix = "Mobile SDK. iOS ";

struct Stamps {
    std::string date; ///< yyyy:MM:dd
    std::string time; ///< HH:mm:ss
};

/// UTC, truncated to seconds. A time outside of four-digit years counts as the nearest valid one, NaN as 1970.
Stamps stampsOf(double secondsSince1970)
{
    using namespace std::chrono;
    constexpr sys_seconds first = sys_days{year{0} / January / 1};
    constexpr sys_seconds last = sys_days{year{10000} / January / 1} - seconds{1};
    const double given = std::isnan(secondsSince1970) ? 0 : std::floor(secondsSince1970);
    const sys_seconds moment{seconds{
        static_cast<std::int64_t>(std::clamp(given, static_cast<double>(first.time_since_epoch().count()),
            static_cast<double>(last.time_since_epoch().count())))}};
    const sys_days day = floor<days>(moment);
    const year_month_day date{day};
    const hh_mm_ss time{moment - day};
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%04d:%02u:%02u", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    Stamps stamps{.date = text.data(), .time = {}};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d", static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
    stamps.time = text.data();
    return stamps;
}

} // namespace

std::optional<CameraModel> CameraModel::fromRawValue(std::string_view rawValue)
{
    for (const Case model : {facingFront, facingBack, album}) {
        if (cameraModelNames.at(model) == rawValue)
            return model;
    }
    return std::nullopt;
}

std::string_view CameraModel::rawValue() const
{
    return cameraModelNames.at(value_);
}

PropertyDictionary OvriLocationMetadataDelegate::replacementMetadataForPhoto(const AVCapturePhoto& photo)
{
    PropertyDictionary metadata = photo.metadata();
    if (auto gps = gpsMetadata())
        metadata.set(kCGImagePropertyGPSDictionary, std::move(*gps));
    return addingTIFFMetadata(std::move(metadata), cameraModel_, platform_);
}

std::optional<PropertyDictionary> OvriLocationMetadataDelegate::gpsMetadata() const
{
    const std::unique_ptr<CLLocationManager> manager = platform_.location.makeLocationManager();
    const std::optional<CLLocation> location = manager->location();
    if (!location)
        return std::nullopt;
    const Stamps stamps = stampsOf(location->timestamp);
    PropertyDictionary gps;
    gps.set(kCGImagePropertyGPSDateStamp, stamps.date);
    gps.set(kCGImagePropertyGPSTimeStamp, stamps.time);
    gps.set(kCGImagePropertyGPSLatitudeRef, location->latitude < 0 ? "S" : "N");
    gps.set(kCGImagePropertyGPSLatitude, std::abs(location->latitude));
    gps.set(kCGImagePropertyGPSLongitudeRef, location->longitude < 0 ? "W" : "E");
    gps.set(kCGImagePropertyGPSLongitude, std::abs(location->longitude));
    gps.set(kCGImagePropertyGPSDOP, location->horizontalAccuracy);
    gps.set(kCGImagePropertyGPSAltitudeRef, location->altitude < 0 ? 1 : 0);
    gps.set(kCGImagePropertyGPSAltitude, std::abs(location->altitude));
    if (const std::optional<CLHeading> heading = manager->heading()) {
        gps.set(kCGImagePropertyGPSImgDirectionRef, "T");
        gps.set(kCGImagePropertyGPSImgDirection, heading->trueHeading);
    }
    return gps;
}

PropertyDictionary OvriLocationMetadataDelegate::addingTIFFMetadata(
    PropertyDictionary dictionary, CameraModel cameraModel, Platform& platform)
{
    const PropertyDictionary* given = dictionary.findDictionary(kCGImagePropertyTIFFDictionary);
    PropertyDictionary tiff = given ? *given : PropertyDictionary{};
    const std::string* software = tiff.findText(kCGImagePropertyTIFFSoftware);
    tiff.set(kCGImagePropertyTIFFSoftware,
        std::string(softwarePrefix) + (software ? *software : platform.device.systemVersion()));
    const std::string* model = tiff.findText(kCGImagePropertyTIFFModel);
    tiff.set(kCGImagePropertyTIFFModel,
        (model ? *model : platform.device.model()) + " " + std::string(cameraModel.rawValue()));
    dictionary.set(kCGImagePropertyTIFFDictionary, std::move(tiff));
    return dictionary;
}

} // namespace tamsel
