#pragma once

#include <engine/motion/TiltFilter.h>

#include <tamsel/platform/Error.h>

#include <sys/types.h>

#include <array>
#include <chrono>
#include <expected>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Motion sensors of the kernel's industrial I/O subsystem.
namespace tamsel::host {

/// A sensor with three axes, as its attributes in sysfs describe it. Immutable.
class IioAxes {
public:
    /// `channel` is "in_anglvel" or "in_accel". Reads its scale, offset and mount matrix, which the kernel has in memory.
    [[nodiscard]] static std::expected<IioAxes, platform::Error> describe(
        const std::string& folder, const std::string& channel);

    /// In rad/s or m/s², along the axes of the device. Takes as long as the sensor does.
    [[nodiscard]] std::expected<engine::MotionVector, platform::Error> read() const;

    /// Chooses the lowest sampling frequency at which each interval has a new sample, or else the highest; where that is
    /// not allowed it stays as it is.
    void setInterval(std::chrono::nanoseconds interval) const;

private:
    std::string folder_; ///< with a slash at its end
    std::string channel_;
    engine::MotionVector scale_{};
    engine::MotionVector offset_{}; ///< in raw units
    std::array<double, 9> mount_{1, 0, 0, 0, 1, 0, 0, 0, 1}; ///< by rows
};

/// The best sensors of this machine.
struct IioSensors {
    std::optional<IioAxes> gyroscope;
    std::optional<IioAxes> accelerometer;
    bool turnTogether = true; ///< false when a hinge is between the two
    std::string
        quaternion; ///< the attribute of a sensor that measures the attitude itself; empty without one

    /// Reads attributes, but no sensor. Each device that is unusable adds one line to `problems`. `root` is a prefix
    /// of /sys.
    [[nodiscard]] static IioSensors discover(const std::string& root, std::vector<std::string>& problems);

    [[nodiscard]] bool hasAttitude() const { return accelerometer || !quaternion.empty(); }
    /// In the frame of an attitude that the sensor reports. Takes as long as the sensor does.
    [[nodiscard]] std::expected<engine::MotionVector, platform::Error> readUp() const;
};

/// Names and inodes of the devices: a different value when one has been plugged in or out.
using IioDevices = std::vector<std::pair<std::string, ino_t>>;
[[nodiscard]] IioDevices iioDevices(const std::string& root);

} // namespace tamsel::host
