#pragma once

#include <tamsel/platform/UIApplication.h>
#include <tamsel/platform/UIDevice.h>

#include <optional>
#include <string_view>

namespace tamsel::host {

/// The orientation for a word of iio-sensor-proxy; absent for other words.
[[nodiscard]] std::optional<platform::UIDeviceOrientation> orientationFrom(std::string_view word);

/// The orientation in which an interface on this device is upright; absent where the device's says nothing.
[[nodiscard]] std::optional<platform::UIInterfaceOrientation> interfaceOn(
    platform::UIDeviceOrientation orientation);

} // namespace tamsel::host
