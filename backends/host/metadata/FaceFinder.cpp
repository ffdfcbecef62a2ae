#include <host/metadata/FaceFinder.h>

#include <host/ffmpeg/planes.h>

#include <dlib/array2d.h>
#include <dlib/image_processing/frontal_face_detector.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace tamsel::host {

namespace {

using View = dlib::array2d<std::uint8_t>;

/// The limit of searched pixels: about 50 ms of a processor, and a quarter of the pixels of 1080p.
constexpr double liveArea = 600'000;
constexpr double patientArea = 4.0 * 1920 * 1080;
/// The detector finds faces of 80 pixels; enlarging by more than two adds nothing.
constexpr double greatestScale = 2;

/// Confidences above which a result counts as a face: in the given orientation, and in the others.
constexpr double certain = 0.2;
constexpr double certainOtherwiseTurned = 0.5;

/// libyuv scales with positions of 16.16 bits, and reads and writes elsewhere beyond this.
constexpr int longestSide = 32'767;

double scaleFor(const LumaPicture& picture, double workingArea)
{
    const double longest = std::max(picture.width, picture.height);
    return std::min({greatestScale, longestSide / longest,
        std::sqrt(workingArea / (static_cast<double>(picture.width) * picture.height))});
}

LumaPicture emptyPicture(int width, int height)
{
    return {width, height,
        std::vector<std::uint8_t>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height))};
}

/// Every second, third… line and column, so that neither side is longer than what libyuv takes.
LumaPicture thinned(const LumaPicture& picture)
{
    const int across = (picture.width + longestSide - 1) / longestSide;
    const int down = (picture.height + longestSide - 1) / longestSide;
    LumaPicture result = emptyPicture(picture.width / across, picture.height / down);
    for (int y = 0; y < result.height; ++y) {
        for (int x = 0; x < result.width; ++x)
            result.row(y)[x] = picture.row(y * down)[x * across];
    }
    return result;
}

LumaPicture scaled(const LumaPicture& picture, int width, int height)
{
    if (std::max(picture.width, picture.height) > longestSide)
        return scaled(thinned(picture), width, height);
    LumaPicture result = emptyPicture(width, height);
    scalePlane(picture.pixels.data(), picture.width, picture.height, result.pixels.data(), result.width,
        result.height);
    return result;
}

View turned(const LumaPicture& picture, int quarterTurns)
{
    const bool isOnItsSide = quarterTurns % 2 != 0;
    View view(isOnItsSide ? picture.width : picture.height, isOnItsSide ? picture.height : picture.width);
    turnPlane(picture.pixels.data(), picture.width, picture.height, &view[0][0], static_cast<int>(view.nc()),
        quarterTurns);
    return view;
}

FaceBounds turnedBack(FaceBounds bounds, const View& view, int quarterTurns)
{
    auto width = static_cast<double>(view.nc());
    auto height = static_cast<double>(view.nr());
    for (int turn = 0; turn < quarterTurns; ++turn) {
        bounds = {bounds.top, width - bounds.left - bounds.width, bounds.height, bounds.width};
        std::swap(width, height);
    }
    return bounds;
}

/// In the picture; `shown` is a scaled copy of it.
FaceBounds inPicture(const FaceBounds& bounds, const LumaPicture& picture, const LumaPicture& shown)
{
    const double across = static_cast<double>(picture.width) / shown.width;
    const double down = static_cast<double>(picture.height) / shown.height;
    const double left = std::max(0.0, bounds.left * across);
    const double top = std::max(0.0, bounds.top * down);
    const double right = std::min<double>(picture.width, (bounds.left + bounds.width) * across);
    const double bottom = std::min<double>(picture.height, (bounds.top + bounds.height) * down);
    return {left, top, right - left, bottom - top};
}

} // namespace

class FaceFinder::Detector {
public:
    std::vector<dlib::rect_detection> detect(const View& view, double leastConfidence)
    {
        std::vector<dlib::rect_detection> detections;
        detector_(view, detections, leastConfidence);
        return detections;
    }

private:
    dlib::frontal_face_detector detector_ = dlib::get_frontal_face_detector();
};

FaceFinder::FaceFinder() = default;

FaceFinder::~FaceFinder() = default;

std::vector<FoundFace> FaceFinder::find(const LumaPicture& picture, int quarterTurns)
{
    return look(picture, quarterTurns, liveArea, certain);
}

std::vector<FoundFace> FaceFinder::search(const LumaPicture& picture, int quarterTurns)
{
    std::vector<FoundFace> faces = look(picture, quarterTurns, patientArea, certain);
    for (int more = 1; more < 4 && faces.empty(); ++more)
        faces = look(picture, quarterTurns + more, patientArea, certainOtherwiseTurned);
    return faces;
}

std::vector<FoundFace> FaceFinder::look(
    const LumaPicture& picture, int quarterTurns, double workingArea, double leastConfidence)
{
    if (picture.pixels.empty())
        return {};
    if (!detector_)
        detector_ = std::make_unique<Detector>();
    quarterTurns &= 3;
    const double scale = scaleFor(picture, workingArea);
    const auto side
        = [scale](int length) { return std::max(1, static_cast<int>(std::lround(length * scale))); };
    const LumaPicture shown = scaled(picture, side(picture.width), side(picture.height));
    const View view = turned(shown, quarterTurns);
    std::vector<FoundFace> faces;
    for (const dlib::rect_detection& detection : detector_->detect(view, leastConfidence)) {
        const dlib::rectangle& rect = detection.rect;
        const FaceBounds seen{static_cast<double>(rect.left()), static_cast<double>(rect.top()),
            static_cast<double>(rect.width()), static_cast<double>(rect.height())};
        faces.push_back({inPicture(turnedBack(seen, view, quarterTurns), picture, shown),
            detection.detection_confidence});
    }
    std::ranges::sort(faces, std::greater{}, [](const FoundFace& face) { return face.bounds.area(); });
    return faces;
}

} // namespace tamsel::host
