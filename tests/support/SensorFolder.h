#pragma once

#include "support/Media.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::tests {

using Attributes = std::map<std::string, std::string>;

inline const Attributes gyroscope{{"in_anglvel_x_raw", "10\n"}, {"in_anglvel_y_raw", "-20\n"},
    {"in_anglvel_z_raw", "350\n"}, {"in_anglvel_scale", "0.001\n"}};
inline const Attributes upright{{"in_accel_x_raw", "0\n"}, {"in_accel_y_raw", "981\n"},
    {"in_accel_z_raw", "0\n"}, {"in_accel_scale", "0.01\n"}};

inline Attributes with(Attributes attributes, const Attributes& others)
{
    for (const auto& [name, value] : others)
        attributes[name] = value;
    return attributes;
}

/// What a device with a buffer has besides: channels and their types in the order of a scan.
inline Attributes buffered(const std::vector<std::pair<std::string, std::string>>& channels)
{
    Attributes attributes{
        {"name", "imu\n"}, {"buffer/enable", "0"}, {"buffer/length", "2"}, {"trigger/current_trigger", ""}};
    for (const auto& [channel, type] : channels) {
        const std::string element = "scan_elements/" + channel;
        attributes[element + "_index"] = std::to_string(attributes.size()) + "\n";
        attributes[element + "_type"] = type + "\n";
        attributes[element + "_en"] = "0";
    }
    return attributes;
}

inline const Attributes bufferedGyroscope = with(gyroscope,
    buffered(
        {{"in_anglvel_x", "le:s8/8>>0"}, {"in_anglvel_y", "le:s8/8>>0"}, {"in_anglvel_z", "le:s8/8>>0"}}));

/// A folder that looks like that of a machine with sensors.
struct SensorFolder {
    ~SensorFolder()
    {
        for (const int pipe : pipes)
            ::close(pipe);
    }

    void plugIn(int number, const Attributes& attributes) const
    {
        for (const auto& [name, value] : attributes) {
            std::filesystem::create_directories(std::filesystem::path(folder(number) + name).parent_path());
            writeFile(folder(number) + name, value);
        }
    }
    /// The trigger of a device named "imu", and bytes in its buffer.
    void fill(int number, const std::string& bytes)
    {
        const std::string buffer = scratch.file("dev/iio:device" + std::to_string(number));
        const std::string trigger = scratch.file("sys/bus/iio/devices/trigger" + std::to_string(number));
        std::filesystem::create_directories(trigger);
        writeFile(trigger + "/name", "imu-dev" + std::to_string(number) + "\n");
        std::filesystem::create_directories(scratch.file("dev"));
        std::filesystem::remove(buffer);
        EXPECT_EQ(::mkfifo(buffer.c_str(), 0600), 0);
        pipes.push_back(::open(buffer.c_str(), O_RDWR | O_CLOEXEC));
        EXPECT_EQ(::write(pipes.back(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    [[nodiscard]] std::string attribute(int number, const std::string& name) const
    {
        return readFile(folder(number) + name);
    }
    [[nodiscard]] std::string folder(int number) const
    {
        return scratch.file("sys/bus/iio/devices/iio:device" + std::to_string(number) + "/");
    }

    ScratchFolder scratch;
    std::vector<int> pipes;
};

} // namespace tamsel::tests
