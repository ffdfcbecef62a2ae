#include <host/iio/MotionValues.h>

#include <engine/dispatch/monotonicNow.h>

#include <chrono>
#include <string>

namespace tamsel::host {

using namespace engine;
using platform::Error;

namespace {

MotionValue<MotionVector> read(
    const IioReading& reading, const std::optional<IioAxes>& sensor, const char* name)
{
    if (!sensor)
        return std::unexpected(Error{.localizedDescription = std::string(name) + " is gone"});
    const IioReading::Values raw = reading.read(sensor->channels());
    if (!raw)
        return std::nullopt;
    if (!*raw)
        return std::unexpected(raw->error());
    return sensor->measured(**raw);
}

platform::CMRotationRate rateOf(const MotionVector& vector)
{
    return {vector[0], vector[1], vector[2]};
}

} // namespace

MotionValue<MotionVector> readRate(const IioReading& reading, const IioSensors& sensors)
{
    return read(reading, sensors.gyroscope, "the gyroscope");
}

GyroReading gyroReading(const std::expected<MotionVector, Error>& rate, double time)
{
    if (!rate)
        return {.error = rate.error()};
    return {.sample = platform::CMGyroData{.rotationRate = rateOf(*rate), .timestamp = time}};
}

MotionValue<platform::CMAttitude> readAttitude(const IioReading& reading, const IioSensors& sensors,
    bool usesRate, const MotionValue<MotionVector>& rate, TiltFilter& tilt)
{
    if (sensors.attitude) {
        const IioReading::Values raw = reading.read(sensors.attitude->channels());
        if (!raw)
            return std::nullopt;
        const auto attitude = *raw ? sensors.attitude->attitude(**raw) : std::nullopt;
        if (attitude)
            return *attitude;
        if (!sensors.accelerometer)
            return std::unexpected(
                *raw ? Error{.localizedDescription = "the sensor has no attitude yet"} : raw->error());
    }
    const auto acceleration = read(reading, sensors.accelerometer, "the accelerometer");
    if (acceleration && !*acceleration)
        return std::unexpected(acceleration->error());
    if (!acceleration || (usesRate && (!rate || !*rate)))
        return std::nullopt;
    const double time = std::chrono::duration<double>(monotonicNow()).count();
    tilt.add(time, **acceleration, usesRate ? std::optional(**rate) : std::nullopt);
    if (const auto attitude = tilt.attitude())
        return *attitude;
    return std::unexpected(Error{.localizedDescription = "the accelerometer shows no gravity"});
}

std::vector<const IioChannels*> channelsOf(const IioSensors& sensors, bool readsMotion)
{
    std::vector<const IioChannels*> channels;
    if (sensors.gyroscope)
        channels.push_back(&sensors.gyroscope->channels());
    if (readsMotion && sensors.accelerometer)
        channels.push_back(&sensors.accelerometer->channels());
    if (readsMotion && sensors.attitude)
        channels.push_back(&sensors.attitude->channels());
    return channels;
}

DeviceMotionReading deviceMotionReading(const std::expected<platform::CMAttitude, Error>& attitude,
    const MotionValue<MotionVector>& rate, double time)
{
    if (!attitude)
        return {.error = attitude.error()};
    const MotionVector turning = rate ? rate->value_or(MotionVector{}) : MotionVector{};
    return {.sample = platform::CMDeviceMotion{
                .attitude = *attitude, .rotationRate = rateOf(turning), .timestamp = time}};
}

} // namespace tamsel::host
