#include <host/bus/orientationWords.h>

namespace tamsel::host {

using platform::UIDeviceOrientation;
using platform::UIInterfaceOrientation;

/// The property AccelerometerOrientation of net.hadess.SensorProxy ("Sensor Proxy Reference Manual",
/// gdbus-net.hadess.SensorProxy.html) has five values. Each names the edge that points up, as seen by a person in front
/// of the screen that is upright in "normal". With the right edge up the top points to the left and the home side to the
/// right.
std::optional<UIDeviceOrientation> orientationFrom(std::string_view word)
{
    if (word == "normal")
        return UIDeviceOrientation::portrait;
    if (word == "bottom-up")
        return UIDeviceOrientation::portraitUpsideDown;
    if (word == "right-up")
        return UIDeviceOrientation::landscapeLeft;
    if (word == "left-up")
        return UIDeviceOrientation::landscapeRight;
    if (word == "undefined")
        return UIDeviceOrientation::unknown;
    return std::nullopt;
}

std::optional<UIInterfaceOrientation> interfaceOn(UIDeviceOrientation orientation)
{
    switch (orientation) {
    case UIDeviceOrientation::portrait:
        return UIInterfaceOrientation::portrait;
    case UIDeviceOrientation::portraitUpsideDown:
        return UIInterfaceOrientation::portraitUpsideDown;
    case UIDeviceOrientation::landscapeLeft: // the home side is at the right
        return UIInterfaceOrientation::landscapeRight;
    case UIDeviceOrientation::landscapeRight:
        return UIInterfaceOrientation::landscapeLeft;
    default:
        return std::nullopt;
    }
}

} // namespace tamsel::host
