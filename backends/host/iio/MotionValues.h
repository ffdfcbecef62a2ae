#pragma once

#include <host/iio/IioReading.h>

#include <engine/motion/MotionDriver.h>
#include <engine/motion/TiltFilter.h>

#include <expected>
#include <optional>
#include <vector>

/// From the raw values of sensors to readings.
namespace tamsel::host {

/// Absent when a sensor has nothing new.
template <typename Value> using MotionValue = std::optional<std::expected<Value, platform::Error>>;

/// What is read of the sensors, with or without device motion. They must outlive the result.
[[nodiscard]] std::vector<const IioChannels*> channelsOf(const IioSensors& sensors, bool readsMotion);

/// In rad/s.
[[nodiscard]] MotionValue<engine::MotionVector> readRate(
    const IioReading& reading, const IioSensors& sensors);
/// Of the sensor that measures it, else of gravity and, if it is used, the rotation rate.
[[nodiscard]] MotionValue<platform::CMAttitude> readAttitude(const IioReading& reading,
    const IioSensors& sensors, bool usesRate, const MotionValue<engine::MotionVector>& rate,
    engine::TiltFilter& tilt);

/// `time` is in seconds.
[[nodiscard]] engine::GyroReading gyroReading(
    const std::expected<engine::MotionVector, platform::Error>& rate, double time);
/// Without a rate it is 0.
[[nodiscard]] engine::DeviceMotionReading deviceMotionReading(
    const std::expected<platform::CMAttitude, platform::Error>& attitude,
    const MotionValue<engine::MotionVector>& rate, double time);

} // namespace tamsel::host
