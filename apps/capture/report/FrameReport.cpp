#include "report/FrameReport.h"

#include "options/Unusable.h"
#include "report/Utf8.h"
#include "seconds.h"

#include <engine/image/renderImage.h>

#include <tamsel/platform/CIImage.h>

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <utility>

namespace tamsel::capture {

using namespace platform;
using std::chrono::nanoseconds;

namespace {

/// As a player shows it. The transform is the inverse of the display matrix, whose y axis points down.
CIImage uprightImage(const OvriCaptureFrameUpdate& frame)
{
    const CIImage image = CIImage::initWithCVImageBuffer(frame.imageBuffer());
    if (!frame.preferredTransform())
        return image;
    const CGAffineTransform matrix = CGAffineTransformInvert(*frame.preferredTransform());
    return image.imageByApplyingTransform({matrix.a, -matrix.b, -matrix.c, matrix.d, 0, 0});
}

} // namespace

void claimFramePictures(FramePictures& pictures, const Inputs& inputs, const GlobalOptions& global)
{
    pictures.folder = global.outputFolder;
    if (pictures.contactSheet)
        requirePictureEnding(*pictures.contactSheet);
    claimOutputs({pictures.contactSheet ? &*pictures.contactSheet : nullptr}, inputs, global.overwrites);
    if (!pictures.saveEvery || global.overwrites)
        return;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(pictures.folder, error)) {
        const std::string name = entry.path().filename();
        if (name.starts_with("frame-") && name.ends_with(".png"))
            throw Unusable(entry.path().string() + " exists already: --overwrite replaces it");
    }
}

FrameReport::FrameReport(FramePictures pictures, Environment& environment, Console& console)
    : pictures_(std::move(pictures)),
      clock_(environment.platform().clock),
      console_(console),
      pictureQueue_(environment.makeQueue("org.tamsel.capture.pictures"))
{
    if (!pictures_.saveEvery)
        return;
    std::error_code error;
    std::filesystem::create_directories(pictures_.folder, error);
    if (!error && ::access(pictures_.folder.c_str(), W_OK | X_OK) != 0)
        error.assign(errno, std::generic_category());
    if (error)
        throw Unusable("cannot write to the folder " + pictures_.folder + ": " + error.message());
}

std::uint64_t FrameReport::show(const OvriCaptureFrameUpdate& frame, FrameNotes notes)
{
    const std::uint64_t index = count_.fetch_add(1);
    note(frame);
    keep(frame, index, std::move(notes));
    return index;
}

std::uint64_t FrameReport::add(const OvriCaptureFrameUpdate& frame)
{
    const std::uint64_t index = show(frame, {});
    if (!console_.isJson())
        return index;
    const CVBuffer& buffer = *frame.imageBuffer();
    const FrameTiming timing = buffer.timing().value_or(FrameTiming{});
    Json transform;
    if (const auto& matrix = frame.preferredTransform()) {
        for (const double number : {matrix->a, matrix->b, matrix->c, matrix->d, matrix->tx, matrix->ty})
            transform.push_back(numberOf(number));
    }
    console_.writeEvent("frame",
        {{"index", index}, {"width", buffer.width()}, {"height", buffer.height()},
            {"exifOrientation", static_cast<unsigned>(frame.exifOrientation())},
            {"preferredTransform", transform}, {"mediaTime", numberOf(timing.mediaTime.seconds())},
            {"sequence", timing.sequence}});
    return index;
}

void FrameReport::note(const OvriCaptureFrameUpdate& frame)
{
    const CVBuffer& buffer = *frame.imageBuffer();
    const nanoseconds now = clock_.monotonic();
    const MutexLock lock(guard_);
    last_.width = buffer.width();
    last_.height = buffer.height();
    const FrameTiming timing = buffer.timing().value_or(FrameTiming{});
    last_.mediaTime = timing.mediaTime.seconds();
    last_.delay = now - timing.captureTime;
    if (!firstFrame_)
        firstFrame_ = now;
    lastFrame_ = now;
}

std::optional<FrameReport::Summary> FrameReport::summary() const
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

void FrameReport::keep(const OvriCaptureFrameUpdate& frame, std::uint64_t index, FrameNotes notes)
{
    const bool isSaved = pictures_.saveEvery && index % *pictures_.saveEvery == 0;
    const bool isShown = pictures_.contactSheet && sheet_.wantsNext();
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
                if (const auto written = writePicture(image, self->picturePath(index)); !written)
                    self->console_.fail(written.error());
            }
            --self->picturesUnderWay_;
        });
}

std::string FrameReport::picturePath(std::uint64_t index) const
{
    return std::filesystem::path(pictures_.folder)
        / formatted("frame-%06llu.png", static_cast<unsigned long long>(index));
}

bool FrameReport::finishPictures()
{
    if (!pictures_.contactSheet)
        return true;
    if (sheet_.isEmpty()) {
        console_.fail("no frame arrived, so there is no contact sheet");
        return false;
    }
    const auto written = writePicture(sheet_.compose(), *pictures_.contactSheet);
    if (!written)
        console_.fail(written.error());
    return written.has_value();
}

} // namespace tamsel::capture
