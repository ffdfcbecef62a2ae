#include "report/FrameTeller.h"

#include "report/JsonLine.h"
#include "seconds.h"

#include <engine/image/renderImage.h>

#include <tamsel/platform/CIImage.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <utility>

namespace tamsel::capture {

using namespace platform;
using std::chrono::nanoseconds;

namespace {

/// As a player shows it: the display matrix, of which the transform is the inverse, thinks with y growing downwards.
CIImage uprightImage(const OvriCaptureFrameUpdate& frame)
{
    const CIImage image = CIImage::initWithCVImageBuffer(frame.imageBuffer());
    if (!frame.preferredTransform())
        return image;
    const CGAffineTransform matrix = CGAffineTransformInvert(*frame.preferredTransform());
    return image.imageByApplyingTransform({matrix.a, -matrix.b, -matrix.c, matrix.d, 0, 0});
}

} // namespace

FrameTeller::FrameTeller(const Options& options, Environment& environment, Console& console)
    : options_(options),
      clock_(environment.platform().clock),
      console_(console),
      pictureQueue_(environment.makeQueue("org.tamsel.capture.pictures"))
{
}

bool FrameTeller::prepare()
{
    if (!options_.saveEvery)
        return true;
    std::error_code error;
    std::filesystem::create_directories(options_.outputFolder, error);
    if (error)
        console_.fail("cannot make the folder " + options_.outputFolder + ": " + error.message());
    return !error;
}

std::uint64_t FrameTeller::show(const OvriCaptureFrameUpdate& frame, FrameNotes notes)
{
    const std::uint64_t index = count_.fetch_add(1);
    note(frame);
    keep(frame, index, std::move(notes));
    return index;
}

std::uint64_t FrameTeller::tell(const OvriCaptureFrameUpdate& frame)
{
    const std::uint64_t index = show(frame, {});
    if (!console_.isJson())
        return index;
    const CVBuffer& buffer = *frame.imageBuffer();
    const FrameTiming timing = buffer.timing().value_or(FrameTiming{});
    JsonLine line("frame");
    line.integer("index", index).integer("width", buffer.width()).integer("height", buffer.height());
    line.integer("exifOrientation", static_cast<std::uint64_t>(frame.exifOrientation()));
    if (const auto& transform = frame.preferredTransform()) {
        const std::array<double, 6> numbers{
            transform->a, transform->b, transform->c, transform->d, transform->tx, transform->ty};
        line.numbers("preferredTransform", numbers);
    } else {
        line.null("preferredTransform");
    }
    console_.write(
        line.number("mediaTime", timing.mediaTime.seconds()).integer("sequence", timing.sequence).string());
    return index;
}

void FrameTeller::note(const OvriCaptureFrameUpdate& frame)
{
    const CVBuffer& buffer = *frame.imageBuffer();
    const nanoseconds now = clock_.monotonic();
    const MutexLock lock(guard_);
    last_.width = buffer.width();
    last_.height = buffer.height();
    last_.delay = now - buffer.timing().value_or(FrameTiming{}).captureTime;
    if (!firstFrame_)
        firstFrame_ = now;
    lastFrame_ = now;
}

std::optional<FrameTeller::Summary> FrameTeller::summary() const
{
    const std::uint64_t frames = count_;
    const MutexLock lock(guard_);
    if (!firstFrame_)
        return std::nullopt;
    Summary summary = last_;
    const double duration = seconds(lastFrame_ - *firstFrame_);
    summary.framesPerSecond = duration > 0 ? static_cast<double>(frames - 1) / duration : 0;
    return summary;
}

void FrameTeller::keep(const OvriCaptureFrameUpdate& frame, std::uint64_t index, FrameNotes notes)
{
    const bool isSaved = options_.saveEvery && index % *options_.saveEvery == 0;
    const bool isShown = options_.contactSheet && sheet_.wantsNext();
    if (!isSaved && !isShown)
        return;
    ++picturesUnderWay_;
    pictureQueue_->async(
        [self = shared_from_this(), kept = std::make_shared<const OvriCaptureFrameUpdate>(frame), index,
            isSaved, isShown, notes = std::make_shared<const FrameNotes>(std::move(notes))] {
            if (isShown) {
                if (const auto upright = engine::renderImage(uprightImage(*kept)))
                    self->sheet_.add(**upright, *notes);
            }
            if (isSaved) {
                const UIImage image(kept->imageBuffer());
                if (const auto written = writePng(image, self->picturePath(index)); !written)
                    self->console_.fail(written.error());
            }
            --self->picturesUnderWay_;
        });
}

std::string FrameTeller::picturePath(std::uint64_t index) const
{
    std::array<char, 40> name{};
    std::snprintf(name.data(), name.size(), "frame-%06llu.png", static_cast<unsigned long long>(index));
    return (std::filesystem::path(options_.outputFolder) / name.data()).string();
}

bool FrameTeller::finishPictures()
{
    if (!options_.contactSheet)
        return true;
    if (sheet_.isEmpty()) {
        console_.fail("no frame came, so there is no contact sheet");
        return false;
    }
    const auto written = writePng(sheet_.compose(), *options_.contactSheet);
    if (!written)
        console_.fail(written.error());
    return written.has_value();
}

} // namespace tamsel::capture
