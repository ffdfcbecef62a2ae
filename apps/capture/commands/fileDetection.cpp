#include "commands/detection.h"

#include "Files.h"
#include "PendingInterrupt.h"
#include "options/Unusable.h"
#include "pictures/Annotation.h"
#include "pictures/Picture.h"
#include "pictures/Upright.h"
#include "report/DetectionReport.h"
#include "report/StatusLine.h"
#include "seconds.h"

#include <engine/capture/turnPixels.h>
#include <formats/Orientation.h>
#include <host/asset/HostAssets.h>
#include <host/image/HostImages.h>
#include <host/metadata/HostDetector.h>
#include <host/recording/MovieFacts.h>

#include <tamsel/platform/CMSampleBuffer.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <memory>
#include <numbers>
#include <utility>

namespace tamsel::capture {

using namespace platform;
using std::chrono::nanoseconds;

namespace {

/// Detects in single pictures.
class Detection {
public:
    Detection(const std::vector<MetadataObjectType>& kinds, host::HostDetector::Effort effort)
        : detector_(effort)
    {
        std::vector<AVMetadataObjectType> types;
        for (const MetadataObjectType kind : kinds)
            types.emplace_back(kind.rawValue());
        detection_ = detector_.begin(std::move(types));
    }

    [[nodiscard]] Found detect(
        const CVPixelBuffer& pixels, int quarterTurns, nanoseconds time, std::uint64_t sequence)
    {
        detection_->take(
            {.pixels = pixels, .quarterTurns = quarterTurns, .captureTime = time, .sequence = sequence});
        Found found;
        for (const std::shared_ptr<const AVMetadataObject>& object : detection_->detect()) {
            if (auto face = std::dynamic_pointer_cast<const AVMetadataFaceObject>(object))
                found.faces.push_back(std::move(face));
            else if (const auto code
                = std::dynamic_pointer_cast<const AVMetadataMachineReadableCodeObject>(object))
                found.codes.emplace_back(
                    MetadataObjectType::fromRawValue(code->type()), code->corners(), code->stringValue());
        }
        return found;
    }

private:
    host::HostDetector detector_;
    std::unique_ptr<engine::MetadataDetection> detection_;
};

void addFound(DetectionReport& report, const Found& found, nanoseconds time)
{
    if (!found.faces.empty())
        report.addFace(found.faces.front()->bounds(), found.faces.front()->faceID(), time);
    if (!found.codes.empty())
        report.addCodes(found.codes, time);
}

/// From the options, or else the file.
CGImagePropertyOrientation orientationOf(const std::vector<std::byte>& file, const DetectionJob& job)
{
    const std::shared_ptr<const CGImageSource> source = host::HostImages().makeImageSource(file);
    const PropertyDictionary properties = source ? source->copyProperties() : PropertyDictionary{};
    const PropertyValue* stated = properties.find(kCGImagePropertyOrientation);
    const double number = stated ? stated->number().value_or(1) : 1;
    return static_cast<CGImagePropertyOrientation>(job.orientation.value_or(formats::orientationOf(number)));
}

/// The quarter turns, clockwise, that bring the stored frames of a track upright.
int quarterTurnsOf(const AVAssetTrack& track)
{
    const CGAffineTransform matrix = track.preferredTransform();
    const auto turns = std::lround(std::atan2(matrix.b, matrix.a) / (std::numbers::pi / 2));
    return static_cast<int>((turns + 4) % 4);
}

/// A video file, read from its start.
struct Video {
    std::shared_ptr<AVAsset> asset;
    std::shared_ptr<AVAssetReader> reader;
    std::shared_ptr<AVAssetReaderTrackOutput> output;
    int quarterTurns = 0;
};

/// Throws `Unusable`.
Video openVideo(const std::string& file)
{
    host::HostAssets assets;
    Video video{.asset = assets.assetWithURL(file), .reader = nullptr, .output = nullptr};
    const auto reader = assets.makeAssetReader(video.asset);
    if (!reader)
        throw Unusable(reader.error().localizedDescription);
    const auto tracks = video.asset->tracks(AVMediaType::video);
    if (tracks.empty())
        throw Unusable(file + " contains no picture and no video");
    video.reader = *reader;
    video.output = assets.makeTrackOutput(tracks.front(), {});
    video.quarterTurns = quarterTurnsOf(*tracks.front());
    video.reader->addOutput(video.output);
    video.reader->startReading();
    return video;
}

} // namespace

void writeAnnotated(const DetectionJob& job, Picture upright, CGImagePropertyOrientation orientation,
    const Found& found, Console& console)
{
    std::vector<Finding> findings;
    for (const auto& face : found.faces)
        findings.push_back(findingOf(face->bounds()));
    for (const DetectedCode& code : found.codes)
        findings.push_back(findingOf(code));
    turnUpright(findings, orientation);
    annotate(upright, findings);
    if (const auto written = writePicture(upright, *job.annotated); !written)
        console.fail(written.error());
}

void writeSummary(
    const DetectionJob& job, std::uint64_t frames, const DetectionReport& report, Console& console)
{
    console.write((job.label ? job.input + ": " : "") + std::to_string(frames) + " frames; "
        + report.summary(job.asksForCodes(), job.asksForFaces()));
}

bool DetectionJob::asksForCodes() const
{
    return std::ranges::any_of(
        kinds, [](MetadataObjectType kind) { return kind != MetadataObjectType::face; });
}

bool DetectionJob::asksForFaces() const
{
    return std::ranges::any_of(
        kinds, [](MetadataObjectType kind) { return kind == MetadataObjectType::face; });
}

bool canDetect(const std::vector<MetadataObjectType>& kinds)
{
    const std::vector<AVMetadataObjectType> known
        = host::HostDetector(host::HostDetector::Effort::patient).detectableTypes();
    return std::ranges::all_of(kinds,
        [&](MetadataObjectType kind) { return std::ranges::find(known, kind.rawValue()) != known.end(); });
}

std::optional<int> quarterTurnsOfVideo(const std::string& file)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error))
        return std::nullopt;
    const auto tracks = host::HostAssets().assetWithURL(file)->tracks(AVMediaType::video);
    return tracks.empty() ? std::nullopt : std::optional(quarterTurnsOf(*tracks.front()));
}

std::optional<bool> detectInPicture(const DetectionJob& job, Console& console)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(job.input, error))
        return std::nullopt;
    auto file = readFile(job.input);
    if (!file)
        return std::nullopt; // as large as a video
    const auto data = std::make_shared<const std::vector<std::byte>>(std::move(*file));
    const auto image = host::HostImages().openImage(data, {});
    if (!image)
        return std::nullopt;
    const auto pixels = image->decode();
    if (!pixels)
        throw Unusable(job.input + ": " + pixels.error().localizedDescription);
    const CGImagePropertyOrientation orientation = orientationOf(*data, job);
    Detection detection(job.kinds, host::HostDetector::Effort::patient);
    const Found found = detection.detect(**pixels, quarterTurnsOf(orientation), {}, 0);
    DetectionReport report(console, std::nullopt, job.label);
    addFound(report, found, {});
    if (found.isEmpty())
        console.write(job.input + (job.asksForCodes() ? ": no code found" : ": no face found"));
    if (job.annotated)
        writeAnnotated(job, uprightPicture(makePicture(**pixels, (*pixels)->width()), orientation),
            orientation, found, console);
    return !found.isEmpty();
}

std::optional<bool> detectInVideo(const DetectionJob& job, Console& console, bool& wasInterrupted)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(job.input, error))
        return std::nullopt;
    const Video video = openVideo(job.input);
    PendingInterrupt interrupt;
    Detection detection(job.kinds, host::HostDetector::Effort::live);
    DetectionReport report(console, nanoseconds{}, job.label);
    TerminalLine line(console);
    const Progress progress("s");
    const auto facts = line.isShown() ? host::readMovieFacts(job.input) : std::unexpected(Error{});
    std::uint64_t frames = 0;
    std::shared_ptr<const CVPixelBuffer> shown; ///< the last frame, or the last in which something was found
    Found foundInShown;
    while (const std::shared_ptr<CMSampleBuffer> sample = video.output->copyNextSampleBuffer()) {
        const std::shared_ptr<const CVPixelBuffer> pixels = sample->imageBuffer();
        if (!pixels)
            continue;
        const double time = pixels->timing().value_or(FrameTiming{}).mediaTime.seconds();
        wasInterrupted = interrupt.isAsked();
        if (wasInterrupted || (job.seconds && time >= *job.seconds))
            break;
        Found found = detection.detect(*pixels, video.quarterTurns, nanosecondsOf(time), frames++);
        addFound(report, found, nanosecondsOf(time));
        if (!found.isEmpty() || foundInShown.isEmpty()) {
            shown = pixels;
            foundInShown = std::move(found);
        }
        line.update([&] { return progress.text(time, facts ? facts->duration : time); });
    }
    if (frames == 0 && !wasInterrupted)
        throw Unusable(job.input + ": no frame can be decoded");
    writeSummary(job, frames, report, console);
    if (job.annotated && shown) {
        const CGImagePropertyOrientation orientation = engine::orientationAfter(video.quarterTurns);
        writeAnnotated(job, uprightPicture(makePicture(*shown, shown->width()), orientation), orientation,
            foundInShown, console);
    }
    return report.hasFound();
}

} // namespace tamsel::capture
