#include "report/SessionErrors.h"

namespace tamsel::capture {

namespace {

constexpr const char* lost = "the camera was lost";

} // namespace

bool reportIfOver(Console& console, OvriSourceManager& manager, const SourceError& error)
{
    if (const auto* motionError = std::get_if<MotionHelperError>(&error)) {
        console.fail(*motionError);
        return true;
    }
    const auto& cameraError = std::get<CameraError>(error);
    if (cameraError.kind() != CameraError::Case::videoFrameError) {
        console.fail(cameraError);
        return true;
    }
    if (!manager.frameCounts().isDeviceLost())
        return false;
    if (console.firstFailure() == lost)
        return true; // reported with a frame that was dropped before
    console.writeError("deviceLost", lost);
    console.fail(lost);
    return true;
}

} // namespace tamsel::capture
