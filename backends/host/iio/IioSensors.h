#pragma once

#include <engine/motion/TiltFilter.h>

#include <tamsel/platform/Error.h>

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// Motion sensors of the kernel's industrial I/O subsystem.
namespace tamsel::host {

/// The channels of a device that belong to one sensor. Immutable.
struct IioChannels {
    std::string folder; ///< of the device, with a slash at its end
    std::string kind; ///< "in_anglvel", "in_accel" or "in_rot"
    std::vector<std::string> names; ///< without suffix
    std::size_t valuesEach = 1;

    [[nodiscard]] std::size_t valueCount() const { return names.size() * valuesEach; }
    /// The raw values of all channels. Takes as long as the sensor does.
    [[nodiscard]] std::expected<std::vector<double>, platform::Error> poll() const;
    /// Chooses the lowest sampling frequency at which each interval has a new sample, or else the highest; any whole
    /// number where there is no list. Where that is not allowed it stays as it is. Returns the interval that results, 0
    /// where it is unknown.
    std::chrono::nanoseconds setInterval(std::chrono::nanoseconds interval) const;
};

/// How a sensor is mounted in the device, by rows.
using MountMatrix = std::array<double, 9>;

/// A sensor with three axes, as its attributes in sysfs describe it. Immutable.
class IioAxes {
public:
    /// `kind` is "in_anglvel" or "in_accel". Reads its scale, offset and mount matrix, which the kernel has in memory.
    [[nodiscard]] static std::expected<IioAxes, platform::Error> describe(
        const std::string& folder, const std::string& kind);

    [[nodiscard]] const IioChannels& channels() const { return channels_; }
    /// In rad/s or m/s², along the axes of the device.
    [[nodiscard]] engine::MotionVector measured(std::span<const double> raw) const;

private:
    IioChannels channels_;
    engine::MotionVector scale_{};
    engine::MotionVector offset_{}; ///< in raw units
    MountMatrix mount_{};
};

/// A sensor that measures its own attitude, as a quaternion x, y, z, w. Immutable.
class IioAttitude {
public:
    [[nodiscard]] static std::expected<IioAttitude, platform::Error> describe(const std::string& folder);

    [[nodiscard]] const IioChannels& channels() const { return channels_; }
    /// Absent while the sensor has none, which it reports as zeros.
    [[nodiscard]] std::optional<platform::CMAttitude> attitude(std::span<const double> raw) const;

private:
    IioChannels channels_;
    MountMatrix mount_{};
};

/// The best sensors of this machine.
struct IioSensors {
    std::optional<IioAxes> gyroscope;
    std::optional<IioAxes> accelerometer;
    std::optional<IioAttitude> attitude;
    bool turnTogether = true; ///< false when a hinge is between gyroscope and accelerometer

    /// Reads attributes, but no sensor. Each device that is unusable adds one line to `problems`. `root` is a prefix
    /// of /sys.
    [[nodiscard]] static IioSensors discover(const std::string& root, std::vector<std::string>& problems);

    [[nodiscard]] bool hasAttitude() const { return accelerometer || attitude; }
};

/// Names and inodes of the devices: a different value when one has been plugged in or out.
using IioDevices = std::vector<std::pair<std::string, ino_t>>;
[[nodiscard]] IioDevices iioDevices(const std::string& root);

} // namespace tamsel::host
