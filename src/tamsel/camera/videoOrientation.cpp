#include <tamsel/camera/videoOrientation.h>

namespace tamsel {

using namespace platform;

AVCaptureVideoOrientation videoOrientation(UIInterfaceOrientation orientation)
{
    switch (orientation) {
    case UIInterfaceOrientation::portraitUpsideDown:
        return AVCaptureVideoOrientation::portraitUpsideDown;
    case UIInterfaceOrientation::landscapeRight:
        return AVCaptureVideoOrientation::landscapeRight;
    case UIInterfaceOrientation::landscapeLeft:
        return AVCaptureVideoOrientation::landscapeLeft;
    case UIInterfaceOrientation::unknown:
    case UIInterfaceOrientation::portrait:
        break;
    }
    return AVCaptureVideoOrientation::portrait;
}

} // namespace tamsel
