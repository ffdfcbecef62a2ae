#include "report/keepSample.h"

#include "Files.h"

#include <formats/imageMetadata.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>

namespace tamsel::capture {

using namespace platform;

namespace {

std::string number(const char* format, double value)
{
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

/// The dimensions, the orientation and the location in the file.
std::string describeProperties(const PropertyDictionary& properties)
{
    std::string line;
    const PropertyValue* width = properties.find(kCGImagePropertyPixelWidth);
    const PropertyValue* height = properties.find(kCGImagePropertyPixelHeight);
    if (width && height)
        line += number(", %.0f x ", width->number().value_or(0))
            + number("%.0f pixels", height->number().value_or(0));
    if (const PropertyValue* orientation = properties.find(kCGImagePropertyOrientation))
        line += number(", orientation %.0f", orientation->number().value_or(0));
    const PropertyDictionary* gps = properties.findDictionary(kCGImagePropertyGPSDictionary);
    const PropertyValue* latitude = gps ? gps->find(kCGImagePropertyGPSLatitude) : nullptr;
    const PropertyValue* longitude = gps ? gps->find(kCGImagePropertyGPSLongitude) : nullptr;
    const std::string* north = gps ? gps->findText(kCGImagePropertyGPSLatitudeRef) : nullptr;
    const std::string* east = gps ? gps->findText(kCGImagePropertyGPSLongitudeRef) : nullptr;
    if (latitude && longitude && north && east) {
        line += number(", at %.5f ", latitude->number().value_or(0)) + *north
            + number(" %.5f ", longitude->number().value_or(0)) + *east;
    }
    return line;
}

} // namespace

std::string keepSample(
    Console& console, const CaptureSampleUpdate& sample, const std::string& file, const std::string& name)
{
    if (const auto written = writeFile(sample.sample(), file); !written) {
        console.fail(written.error());
        return {};
    }
    const PropertyDictionary properties = formats::readImageProperties(sample.sample());
    const PropertyValue* orientation = properties.find(kCGImagePropertyOrientation);
    console.writeEvent("sample",
        {{"bytes", sample.sample().size()}, {"source", static_cast<unsigned>(sample.source())},
            {"exifOrientation", static_cast<unsigned>(sample.exifOrientation())}, {"file", name},
            {"fileOrientation", numberOf(orientation ? orientation->number() : std::nullopt)}});
    std::string facts = std::to_string(sample.sample().size()) + " bytes" + describeProperties(properties);
    console.write(name + ": " + facts);
    return facts;
}

} // namespace tamsel::capture
