#include <engine/motion/TiltFilter.h>

#include <algorithm>
#include <cmath>

namespace tamsel::engine {

namespace {

constexpr double gravity = 9.81;
// 1/s. The tilt follows gravity with a time constant of two seconds where a gyroscope shows turns at once, else of one.
constexpr double gainWithRate = 0.5;
constexpr double gainAlone = 1;
constexpr double biasGain = 0.1; ///< 1/s²
constexpr double longestGap = 1; ///< seconds
/// Accelerations count as measured, so that those of a shaken device cancel out, up to this many times gravity.
constexpr double largestAcceleration = 2;

double dot(const MotionVector& a, const MotionVector& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

MotionVector cross(const MotionVector& a, const MotionVector& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

MotionVector scaled(const MotionVector& a, double factor)
{
    return {a[0] * factor, a[1] * factor, a[2] * factor};
}

MotionVector sum(const MotionVector& a, const MotionVector& b)
{
    return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}

double length(const MotionVector& a)
{
    return std::sqrt(dot(a, a));
}

/// A fixed direction as the device sees it after turning by these radians.
MotionVector turned(const MotionVector& direction, const MotionVector& turn)
{
    const double angle = length(turn);
    if (angle == 0)
        return direction;
    const MotionVector axis = scaled(turn, 1 / angle);
    const MotionVector result
        = sum(sum(scaled(direction, std::cos(angle)), scaled(cross(direction, axis), std::sin(angle))),
            scaled(axis, dot(axis, direction) * (1 - std::cos(angle))));
    return scaled(result, 1 / length(result));
}

} // namespace

void TiltFilter::add(
    double time, const MotionVector& acceleration, const std::optional<MotionVector>& rotationRate)
{
    const double step = time - time_;
    const double size = length(acceleration);
    const MotionVector previous = rate_;
    rate_ = rotationRate.value_or(MotionVector{});
    time_ = time;
    if (!up_ || step < 0 || step > longestGap) {
        up_ = size > 0 ? std::optional(scaled(acceleration, 1 / size)) : std::nullopt;
        return;
    }
    const MotionVector measured = scaled(acceleration, 1 / std::max(gravity, size / largestAcceleration));
    const MotionVector error = cross(measured, *up_);
    MotionVector rate = scaled(error, rotationRate ? gainWithRate : gainAlone);
    if (rotationRate) {
        bias_ = sum(bias_, scaled(error, -biasGain * step));
        rate = sum(rate, sum(scaled(sum(previous, rate_), 0.5), scaled(bias_, -1)));
    }
    up_ = turned(*up_, scaled(rate, step));
}

std::optional<platform::CMAttitude> TiltFilter::attitude() const
{
    return up_.transform(attitudeOf);
}

platform::CMAttitude attitudeOf(const MotionVector& up)
{
    return {.pitch = std::asin(std::clamp(up[1], -1.0, 1.0)), .roll = std::atan2(-up[0], up[2])};
}

} // namespace tamsel::engine
