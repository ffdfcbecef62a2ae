#pragma once

#include <tamsel/platform/AVCaptureOutput.h>
#include <tamsel/platform/UIDevice.h>

namespace tamsel {

/// The orientation of a connection whose picture is to be upright in an interface of this orientation; portrait where that
/// is not known. Screens turn their preview with it.
[[nodiscard]] platform::AVCaptureVideoOrientation videoOrientation(
    platform::UIInterfaceOrientation orientation);

} // namespace tamsel
