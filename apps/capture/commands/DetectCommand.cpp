#include "commands/DetectCommand.h"

#include "pictures/Picture.h"
#include "pictures/Upright.h"
#include "report/SessionErrors.h"
#include "seconds.h"
#include "timeLimits.h"

#include <engine/capture/turnPixels.h>
#include <host/asset/HostAssets.h>

#include <tamsel/camera/videoOrientation.h>
#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/Clock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <numbers>
#include <system_error>
#include <utility>

namespace tamsel::capture {

using namespace std::chrono_literals;
using namespace platform;
using std::chrono::nanoseconds;

namespace {

/// The look that is under way when a video ends is over by then.
constexpr nanoseconds lookLimit = 500ms;
/// The first look makes what finds faces; on a busy machine a short video ends before that.
constexpr nanoseconds firstLookLimit = 2s;

} // namespace

DetectCommand::DetectCommand(const Options& options, Environment& environment)
    : options_(options),
      environment_(environment),
      console_(options.json),
      waiter_(environment),
      responseQueue_(environment.makeQueue("org.tamsel.capture.response")),
      teller_(console_, environment.platform().clock.monotonic())
{
}

void DetectCommand::sourceManagerDidGetFrame(
    OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& frame)
{
    ++frames_;
    if (options_.detect.annotated)
        lastFrame_ = frame.imageBuffer();
}

void DetectCommand::sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error)
{
    const auto* cameraError = std::get_if<CameraError>(&error);
    if (!cameraError)
        return;
    if (cameraError->kind() != CameraError::Case::videoFrameError) {
        console_.fail(*cameraError);
    } else {
        // A live frame less does not matter here, unless it was the last.
        if (!isCameraLost(manager.frameCounts()))
            return;
        std::error_code ignored;
        if (!std::filesystem::is_regular_file(options_.file, ignored))
            console_.fail("the camera was lost");
        else if (frames_ == 0)
            console_.fail(options_.file + ": no frame of it can be decoded");
    }
    isOver_ = true;
    waiter_.wake();
}

void DetectCommand::sourceManagerDidDetect(OvriSourceManager& /*manager*/, const OvriMetadataFaceObject& face)
{
    const AVMetadataFaceObject& object = *face.face();
    teller_.tellFace(object.bounds(), object.faceID(), environment_.platform().clock.monotonic());
    beginBatch();
    foundFace_ = object.bounds();
}

void DetectCommand::sourceManagerDidDetect(
    OvriSourceManager& /*manager*/, const std::vector<OvriMetadataMachineReadableCodeObject>& codes)
{
    teller_.tellCodes(codes, environment_.platform().clock.monotonic());
    beginBatch();
    foundCodes_ = codes;
}

void DetectCommand::beginBatch()
{
    hasFound_ = true;
    waiter_.wake();
    if (foundFrame_ == lastFrame_)
        return; // a face comes before the codes of its batch
    foundFrame_ = lastFrame_;
    foundFace_ = std::nullopt;
    foundCodes_.clear();
}

void DetectCommand::watch()
{
    const nanoseconds length = options_.seconds ? nanosecondsOf(*options_.seconds) : forEver;
    if (!waiter_.waitFor(length, [this] { return isOver_.load(); }))
        return;
    const bool hadFound = hasFound_;
    (void)waiter_.waitFor(hadFound ? lookLimit : firstLookLimit, [&] { return !hadFound && hasFound_; });
}

void DetectCommand::writeAnnotated()
{
    const CVBuffer* frame = foundFrame_ ? foundFrame_.get() : lastFrame_.get();
    if (!frame) {
        console_.fail("no frame came, so there is no picture of one");
        return;
    }
    const CGImagePropertyOrientation orientation = engine::orientationAfter(
        engine::quarterTurns(options_.sensorOrientation.value_or(AVCaptureVideoOrientation::portrait),
            videoOrientation(options_.interfaceOrientation)));
    std::vector<Finding> findings;
    if (foundFace_)
        findings.push_back(findingOf(*foundFace_));
    std::ranges::transform(
        foundCodes_, std::back_inserter(findings), [](const DetectedCode& code) { return findingOf(code); });
    turnUpright(findings, orientation);
    Picture picture = makePicture(*frame, frame->width());
    annotate(picture, findings);
    if (const auto written = writePng(picture, *options_.detect.annotated); !written)
        console_.fail(written.error());
}

void DetectCommand::finish()
{
    if (!console_.isJson() && frames_ > 0)
        console_.write(std::to_string(frames_) + " frames; " + teller_.summary(options_.detect));
    if (options_.detect.annotated)
        writeAnnotated();
}

AVCaptureVideoOrientation sensorOrientationOf(const std::string& input)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(input, error))
        return AVCaptureVideoOrientation::portrait;
    const auto tracks = host::HostAssets().assetWithURL(input)->tracks(AVMediaType::video);
    if (tracks.empty())
        return AVCaptureVideoOrientation::portrait;
    const CGAffineTransform matrix = tracks.front()->preferredTransform();
    const auto turns = std::lround(std::atan2(matrix.b, matrix.a) / (std::numbers::pi / 2));
    return engine::sensorUprightAfter(static_cast<int>((turns + 4) % 4));
}

ExitStatus DetectCommand::run()
{
    const SourceType source = SourceType::cameraBack(false);
    manager_ = OvriSourceManager::create(
        {source}, options_.sessionPreset(), responseQueue_, environment_.platform());
    manager_->setMetadataDetection(options_.detect.kinds, weak_from_this());
    const auto view = std::make_shared<UIView>(CGSize{640, 480});
    if (const auto started = manager_->startSession(source, weak_from_this(), {}, view); !started)
        console_.fail(started.error());
    else
        watch();
    manager_->stopAllSessions();
    waiter_.runBehind(*responseQueue_, [self = shared_from_this()] { self->finish(); });
    manager_ = nullptr;
    return console_.endSession(waiter_.isInterrupted());
}

} // namespace tamsel::capture
