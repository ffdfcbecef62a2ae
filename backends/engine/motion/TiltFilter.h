#pragma once

#include <tamsel/platform/CMMotionManager.h>

#include <array>
#include <optional>

namespace tamsel::engine {

/// Along the device's axes: x to the right of the screen, y to its top, z out of it.
using MotionVector = std::array<double, 3>;

/// The tilt of a device from its accelerometer and, where there is one, its gyroscope: the explicit complementary filter
/// with bias correction of R. Mahony, T. Hamel and J.-M. Pflimlin, "Nonlinear Complementary Filters on the Special
/// Orthogonal Group", IEEE Transactions on Automatic Control 53(5), 2008, for the single direction that gravity gives.
class TiltFilter {
public:
    /// The first acceleration sets the tilt, and so does one after a gap of more than a second. `time` is in seconds;
    /// `acceleration`, in m/s², points up at rest; `rotationRate` is in rad/s.
    void add(double time, const MotionVector& acceleration, const std::optional<MotionVector>& rotationRate);

    /// Pitch and roll; the yaw is unknown and 0. Absent before the first sample, and while the device falls freely.
    [[nodiscard]] std::optional<platform::CMAttitude> attitude() const;

private:
    std::optional<MotionVector> up_; ///< a unit vector
    MotionVector bias_{}; ///< of the gyroscope
    MotionVector rate_{}; ///< the previous one
    double time_ = 0;
};

/// Pitch and roll where this unit vector points up; the yaw is 0.
[[nodiscard]] platform::CMAttitude attitudeOf(const MotionVector& up);

} // namespace tamsel::engine
