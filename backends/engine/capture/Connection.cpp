#include <engine/capture/Connection.h>

namespace tamsel::engine {

namespace {

std::string_view name(platform::AVCaptureVideoOrientation orientation)
{
    switch (orientation) {
    case platform::AVCaptureVideoOrientation::portrait:
        return "portrait";
    case platform::AVCaptureVideoOrientation::portraitUpsideDown:
        return "portraitUpsideDown";
    case platform::AVCaptureVideoOrientation::landscapeRight:
        return "landscapeRight";
    case platform::AVCaptureVideoOrientation::landscapeLeft:
        return "landscapeLeft";
    }
    return {};
}

} // namespace

void Connection::setVideoOrientation(platform::AVCaptureVideoOrientation orientation)
{
    hook_->called(CaptureCall::setVideoOrientation, name(orientation));
    orientation_ = orientation;
}

} // namespace tamsel::engine
