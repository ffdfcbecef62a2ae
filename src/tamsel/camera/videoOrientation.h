#pragma once

#include <tamsel/platform/AVCaptureConnection.h>
#include <tamsel/platform/UIApplication.h>

namespace tamsel {

/// The orientation of a connection whose picture is upright in an interface of this orientation; portrait if the latter
/// is unknown. Screens rotate their preview with it.
[[nodiscard]] platform::AVCaptureVideoOrientation videoOrientation(
    platform::UIInterfaceOrientation orientation);

} // namespace tamsel
