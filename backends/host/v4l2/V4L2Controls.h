#pragma once

#include <host/v4l2/V4L2Device.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace tamsel::host {

/// The controls of a device that serve as zoom, focus and torch (Linux Media userspace API, camera and flash control
/// reference). One that is disabled, inactive or read-only is absent; one that fails, or whose range makes no sense, is
/// reported in one line and absent from then on. Calls may take as long as the device needs.
class V4L2Controls {
public:
    /// Without controls.
    V4L2Controls() = default;
    V4L2Controls(const V4L2Device& device, std::function<void(std::string_view)> report);

    /// How far the lens zooms; 1 if it does not. The control is a focal length in a unit of the device, so the factor is
    /// its value divided by its minimum, which must be positive.
    [[nodiscard]] double maximumLensFactor() const;
    /// Sets the lens to the largest step up to a factor, and returns the factor of that step.
    double setLensFactor(const V4L2Device& device, double factor);

    /// From now on, where there is an autofocus.
    void focusAutomatically(const V4L2Device& device);

    [[nodiscard]] bool hasTorch() const { return torch_.has_value(); }
    /// As bright as it can be, or off.
    void setTorch(const V4L2Device& device, bool isOn);

private:
    struct Control {
        std::uint32_t id;
        std::string_view name;
        std::int32_t minimum;
        std::int32_t maximum;
        std::int32_t step;
    };

    [[nodiscard]] std::optional<Control> query(
        const V4L2Device& device, std::uint32_t id, std::uint32_t type, std::string_view name) const;
    /// Does nothing to an absent control.
    void set(const V4L2Device& device, std::optional<Control>& control, std::int32_t value) const;

    std::function<void(std::string_view)> report_;
    std::optional<Control> zoom_;
    std::optional<Control> autofocus_;
    std::optional<Control> torch_;
    std::optional<Control> torchIntensity_;
};

} // namespace tamsel::host
