#include <host/v4l2/V4L2Controls.h>

#include <linux/videodev2.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <string>
#include <utility>

namespace tamsel::host {

namespace {

constexpr std::uint32_t unusable
    = V4L2_CTRL_FLAG_DISABLED | V4L2_CTRL_FLAG_INACTIVE | V4L2_CTRL_FLAG_READ_ONLY;
/// Further than any lens reaches. A range that begins at or below 0 always seems to exceed it.
constexpr double impossibleFactor = 200;
/// Of a step: quotients of decimal factors fall just below whole numbers.
constexpr double tolerance = 1e-6;

bool hasTorchMode(const V4L2Device& device)
{
    v4l2_querymenu item{};
    item.id = V4L2_CID_FLASH_LED_MODE;
    item.index = V4L2_FLASH_LED_MODE_TORCH;
    return device.control(VIDIOC_QUERYMENU, &item) == 0;
}

} // namespace

V4L2Controls::V4L2Controls(const V4L2Device& device, std::function<void(std::string_view)> report)
    : report_(std::move(report)),
      zoom_(query(device, V4L2_CID_ZOOM_ABSOLUTE, V4L2_CTRL_TYPE_INTEGER, "zoom")),
      autofocus_(query(device, V4L2_CID_FOCUS_AUTO, V4L2_CTRL_TYPE_BOOLEAN, "autofocus")),
      torch_(query(device, V4L2_CID_FLASH_LED_MODE, V4L2_CTRL_TYPE_MENU, "torch")),
      torchIntensity_(
          query(device, V4L2_CID_FLASH_TORCH_INTENSITY, V4L2_CTRL_TYPE_INTEGER, "torch's intensity"))
{
    if (torch_ && !hasTorchMode(device))
        torch_.reset();
}

std::optional<V4L2Controls::Control> V4L2Controls::query(
    const V4L2Device& device, std::uint32_t id, std::uint32_t type, std::string_view name) const
{
    v4l2_queryctrl answer{};
    answer.id = id;
    const int number = device.control(VIDIOC_QUERYCTRL, &answer);
    if (number == EINVAL || number == ENOTTY || (number == 0 && (answer.flags & unusable) != 0))
        return std::nullopt;
    const bool isFocalLength = id == V4L2_CID_ZOOM_ABSOLUTE;
    const bool isSensible = answer.type == type && answer.minimum <= answer.maximum && answer.step > 0
        && (!isFocalLength || answer.maximum < impossibleFactor * answer.minimum);
    if (number == 0 && isSensible) {
        const std::int64_t beyondLastStep
            = (std::int64_t{answer.maximum} - answer.minimum) % std::int64_t{answer.step};
        return Control{id, name, answer.minimum, static_cast<std::int32_t>(answer.maximum - beyondLastStep),
            answer.step};
    }
    const std::string what
        = (number == 0 ? "has no sensible range for its " : "does not report its ") + std::string(name);
    report_(device.error(what, number == 0 ? ERANGE : number).localizedDescription);
    return std::nullopt;
}

void V4L2Controls::set(const V4L2Device& device, std::optional<Control>& control, std::int32_t value) const
{
    if (!control)
        return;
    v4l2_control setting{.id = control->id, .value = value};
    const int number = device.control(VIDIOC_S_CTRL, &setting);
    if (number == 0)
        return;
    if (number != ENODEV) // a loss is reported by the stream
        report_(device.error("does not set its " + std::string(control->name), number).localizedDescription);
    control.reset();
}

double V4L2Controls::maximumLensFactor() const
{
    return zoom_ ? static_cast<double>(zoom_->maximum) / zoom_->minimum : 1;
}

double V4L2Controls::setLensFactor(const V4L2Device& device, double factor)
{
    if (!zoom_)
        return 1;
    const double minimum = zoom_->minimum;
    const double wanted = std::clamp(factor, 1.0, maximumLensFactor()) * minimum - minimum;
    const double value = minimum + std::floor(wanted / zoom_->step + tolerance) * zoom_->step;
    set(device, zoom_, static_cast<std::int32_t>(value));
    return zoom_ ? value / minimum : 1;
}

void V4L2Controls::focusAutomatically(const V4L2Device& device)
{
    set(device, autofocus_, 1);
}

void V4L2Controls::setTorch(const V4L2Device& device, bool isOn)
{
    if (isOn && torchIntensity_)
        set(device, torchIntensity_, torchIntensity_->maximum);
    set(device, torch_, isOn ? V4L2_FLASH_LED_MODE_TORCH : V4L2_FLASH_LED_MODE_NONE);
}

} // namespace tamsel::host
