#include "commands/PictureDetection.h"

#include "Files.h"
#include "pictures/Annotation.h"
#include "pictures/Picture.h"
#include "pictures/Upright.h"
#include "report/DetectionTeller.h"

#include <formats/Orientation.h>
#include <host/image/HostImages.h>
#include <host/metadata/HostDetector.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>
#include <vector>

namespace tamsel::capture {

using namespace platform;

namespace {

constexpr std::chrono::nanoseconds once{};

struct Found {
    std::vector<std::shared_ptr<const AVMetadataFaceObject>> faces;
    std::vector<DetectedCode> codes;
};

Found look(const CVPixelBuffer& pixels, CGImagePropertyOrientation orientation, const DetectOptions& options)
{
    std::vector<AVMetadataObjectType> types;
    for (const MetadataObjectType kind : options.kinds)
        types.emplace_back(kind.rawValue());
    host::HostDetector detector(host::HostDetector::Effort::patient);
    const auto detection = detector.begin(std::move(types));
    detection->take(
        {.pixels = pixels, .quarterTurns = quarterTurnsOf(orientation), .captureTime = once, .sequence = 0});
    Found found;
    for (const std::shared_ptr<const AVMetadataObject>& object : detection->detect()) {
        if (auto face = std::dynamic_pointer_cast<const AVMetadataFaceObject>(object))
            found.faces.push_back(std::move(face));
        else if (const auto code
            = std::dynamic_pointer_cast<const AVMetadataMachineReadableCodeObject>(object))
            found.codes.emplace_back(
                MetadataObjectType::fromRawValue(code->type()), code->corners(), code->stringValue());
    }
    return found;
}

/// As the options or else the file say.
CGImagePropertyOrientation orientationOf(const std::vector<std::byte>& file, const Options& options)
{
    const std::shared_ptr<const CGImageSource> source = host::HostImages().makeImageSource(file);
    const PropertyDictionary properties = source ? source->copyProperties() : PropertyDictionary{};
    const PropertyValue* stated = properties.find(kCGImagePropertyOrientation);
    const double number = stated ? stated->number().value_or(1) : 1;
    return static_cast<CGImagePropertyOrientation>(
        options.orientation.value_or(formats::orientationOf(number)));
}

void tell(Console& console, const Found& found, const Options& options)
{
    DetectionTeller teller(console);
    if (!found.faces.empty())
        teller.tellFace(found.faces.front()->bounds(), found.faces.front()->faceID(), once);
    if (!found.codes.empty())
        teller.tellCodes(found.codes, once);
    if (found.faces.empty() && found.codes.empty() && !console.isJson())
        console.write(options.file + (options.detect.asksForCodes() ? ": no code in it" : ": no face in it"));
}

Picture annotated(const CVPixelBuffer& pixels, CGImagePropertyOrientation orientation, const Found& found)
{
    std::vector<Finding> findings;
    for (const auto& face : found.faces)
        findings.push_back(findingOf(face->bounds()));
    for (const DetectedCode& code : found.codes)
        findings.push_back(findingOf(code));
    turnUpright(findings, orientation);
    Picture picture = uprightPicture(makePicture(pixels, pixels.width()), orientation);
    annotate(picture, findings);
    return picture;
}

} // namespace

bool canDetect(const std::vector<MetadataObjectType>& kinds)
{
    const std::vector<AVMetadataObjectType> known
        = host::HostDetector(host::HostDetector::Effort::patient).detectableTypes();
    return std::ranges::all_of(kinds,
        [&](MetadataObjectType kind) { return std::ranges::find(known, kind.rawValue()) != known.end(); });
}

std::optional<ExitStatus> detectInPicture(const Options& options)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(options.file, error))
        return std::nullopt;
    auto file = readFile(options.file);
    if (!file)
        return std::nullopt; // as large as a video
    const auto data = std::make_shared<const std::vector<std::byte>>(std::move(*file));
    const auto image = host::HostImages().openImage(data, {});
    if (!image)
        return std::nullopt;
    Console console(options.json);
    const auto pixels = image->decode();
    if (!pixels) {
        console.fail(options.file + ": " + pixels.error().localizedDescription);
        return ExitStatus::failed;
    }
    const CGImagePropertyOrientation orientation = orientationOf(*data, options);
    const Found found = look(**pixels, orientation, options.detect);
    tell(console, found, options);
    if (options.detect.annotated) {
        const auto written = writePng(annotated(**pixels, orientation, found), *options.detect.annotated);
        if (!written)
            console.fail(written.error());
    }
    return console.hasFailed() ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
