#pragma once

#include <tamsel/platform/AVCaptureConnection.h>
#include <tamsel/platform/UIApplication.h>

namespace tamsel {

/// The orientation of a connection whose picture is to be upright in an interface of this orientation; portrait where that
/// is not known. Screens turn their preview with it.
[[nodiscard]] platform::AVCaptureVideoOrientation videoOrientation(
    platform::UIInterfaceOrientation orientation);

} // namespace tamsel
