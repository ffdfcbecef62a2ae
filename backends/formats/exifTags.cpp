#include <formats/exifTags.h>

#include <formats/TiffBlock.h>

#include <array>

namespace tamsel::formats {

namespace {

using enum ExifForm;

constexpr auto tiffTags = std::to_array<ExifTag>({
    {"DocumentName", 0x010D, text},
    {"ImageDescription", 0x010E, text},
    {"Make", 0x010F, text},
    {"Model", 0x0110, text},
    {"Orientation", tiffTag::orientation, shortInteger},
    {"XResolution", 0x011A, rational},
    {"YResolution", 0x011B, rational},
    {"ResolutionUnit", 0x0128, shortInteger},
    {"Software", 0x0131, text},
    {"DateTime", 0x0132, text},
    {"Artist", 0x013B, text},
    {"HostComputer", 0x013C, text},
    {"WhitePoint", 0x013E, rational, 2},
    {"PrimaryChromaticities", 0x013F, rational, 6},
    {"YCbCrPositioning", 0x0213, shortInteger},
    {"Copyright", 0x8298, text},
});

constexpr auto exifDirectoryTags = std::to_array<ExifTag>({
    {"ExposureTime", 0x829A, rational},
    {"FNumber", 0x829D, rational},
    {"ExposureProgram", 0x8822, shortInteger},
    {"SpectralSensitivity", 0x8824, text},
    {"ISOSpeedRatings", 0x8827, shortInteger, 0},
    {"OECF", 0x8828, bytes, 0},
    {"SensitivityType", 0x8830, shortInteger},
    {"StandardOutputSensitivity", 0x8831, longInteger},
    {"RecommendedExposureIndex", 0x8832, longInteger},
    {"ISOSpeed", 0x8833, longInteger},
    {"ISOSpeedLatitudeyyy", 0x8834, longInteger},
    {"ISOSpeedLatitudezzz", 0x8835, longInteger},
    {"ExifVersion", 0x9000, version},
    {"DateTimeOriginal", 0x9003, text},
    {"DateTimeDigitized", 0x9004, text},
    {"OffsetTime", 0x9010, text},
    {"OffsetTimeOriginal", 0x9011, text},
    {"OffsetTimeDigitized", 0x9012, text},
    {"ComponentsConfiguration", 0x9101, bytes, 4},
    {"CompressedBitsPerPixel", 0x9102, rational},
    {"ShutterSpeedValue", 0x9201, signedRational},
    {"ApertureValue", 0x9202, rational},
    {"BrightnessValue", 0x9203, signedRational},
    {"ExposureBiasValue", 0x9204, signedRational},
    {"MaxApertureValue", 0x9205, rational},
    {"SubjectDistance", 0x9206, rational},
    {"MeteringMode", 0x9207, shortInteger},
    {"LightSource", 0x9208, shortInteger},
    {"Flash", 0x9209, shortInteger},
    {"FocalLength", 0x920A, rational},
    {"SubjectArea", 0x9214, shortInteger, 0},
    {"UserComment", 0x9286, bytes, 0},
    {"SubsecTime", 0x9290, text},
    {"SubsecTimeOriginal", 0x9291, text},
    {"SubsecTimeDigitized", 0x9292, text},
    {"Temperature", 0x9400, signedRational},
    {"Humidity", 0x9401, rational},
    {"Pressure", 0x9402, rational},
    {"WaterDepth", 0x9403, signedRational},
    {"Acceleration", 0x9404, rational},
    {"CameraElevationAngle", 0x9405, signedRational},
    {"FlashpixVersion", 0xA000, version},
    {"ColorSpace", 0xA001, shortInteger},
    {"PixelXDimension", 0xA002, size},
    {"PixelYDimension", 0xA003, size},
    {"RelatedSoundFile", 0xA004, text},
    {"FlashEnergy", 0xA20B, rational},
    {"SpatialFrequencyResponse", 0xA20C, bytes, 0},
    {"FocalPlaneXResolution", 0xA20E, rational},
    {"FocalPlaneYResolution", 0xA20F, rational},
    {"FocalPlaneResolutionUnit", 0xA210, shortInteger},
    {"SubjectLocation", 0xA214, shortInteger, 2},
    {"ExposureIndex", 0xA215, rational},
    {"SensingMethod", 0xA217, shortInteger},
    {"FileSource", 0xA300, bytes},
    {"SceneType", 0xA301, bytes},
    {"CFAPattern", 0xA302, bytes, 0},
    {"CustomRendered", 0xA401, shortInteger},
    {"ExposureMode", 0xA402, shortInteger},
    {"WhiteBalance", 0xA403, shortInteger},
    {"DigitalZoomRatio", 0xA404, rational},
    {"FocalLenIn35mmFilm", 0xA405, shortInteger},
    {"SceneCaptureType", 0xA406, shortInteger},
    {"GainControl", 0xA407, shortInteger},
    {"Contrast", 0xA408, shortInteger},
    {"Saturation", 0xA409, shortInteger},
    {"Sharpness", 0xA40A, shortInteger},
    {"DeviceSettingDescription", 0xA40B, bytes, 0},
    {"SubjectDistanceRange", 0xA40C, shortInteger},
    {"ImageUniqueID", 0xA420, text},
    {"CameraOwnerName", 0xA430, text},
    {"BodySerialNumber", 0xA431, text},
    {"LensSpecification", 0xA432, rational, 4},
    {"LensMake", 0xA433, text},
    {"LensModel", 0xA434, text},
    {"LensSerialNumber", 0xA435, text},
    {"CompositeImage", 0xA460, shortInteger},
    {"SourceImageNumberOfCompositeImage", 0xA461, shortInteger, 2},
    {"SourceExposureTimesOfCompositeImage", 0xA462, bytes, 0},
    {"Gamma", 0xA500, rational},
});

constexpr auto gpsTags = std::to_array<ExifTag>({
    {"VersionID", 0x00, byte, 4},
    {"LatitudeRef", 0x01, text},
    {"Latitude", 0x02, coordinate},
    {"LongitudeRef", 0x03, text},
    {"Longitude", 0x04, coordinate},
    {"AltitudeRef", 0x05, byte},
    {"Altitude", 0x06, rational},
    {"TimeStamp", 0x07, clock},
    {"Satellites", 0x08, text},
    {"Status", 0x09, text},
    {"MeasureMode", 0x0A, text},
    {"DOP", 0x0B, rational},
    {"SpeedRef", 0x0C, text},
    {"Speed", 0x0D, rational},
    {"TrackRef", 0x0E, text},
    {"Track", 0x0F, rational},
    {"ImgDirectionRef", 0x10, text},
    {"ImgDirection", 0x11, rational},
    {"MapDatum", 0x12, text},
    {"DestLatitudeRef", 0x13, text},
    {"DestLatitude", 0x14, coordinate},
    {"DestLongitudeRef", 0x15, text},
    {"DestLongitude", 0x16, coordinate},
    {"DestBearingRef", 0x17, text},
    {"DestBearing", 0x18, rational},
    {"DestDistanceRef", 0x19, text},
    {"DestDistance", 0x1A, rational},
    {"ProcessingMethod", 0x1B, bytes, 0},
    {"AreaInformation", 0x1C, bytes, 0},
    {"DateStamp", 0x1D, text},
    {"Differential", 0x1E, shortInteger},
    {"HPositioningError", 0x1F, rational},
});

} // namespace

std::span<const ExifTag> exifTags(ExifGroup group)
{
    switch (group) {
    case ExifGroup::tiff:
        return tiffTags;
    case ExifGroup::exif:
        return exifDirectoryTags;
    case ExifGroup::gps:
        return gpsTags;
    }
    return {};
}

} // namespace tamsel::formats
