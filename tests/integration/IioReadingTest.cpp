#include "support/Program.h"
#include "support/SensorFolder.h"

#include <engine/dispatch/monotonicNow.h>
#include <host/iio/IioReading.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <numbers>

namespace tamsel::tests {

using namespace std::chrono_literals;
using host::IioReading;
using host::IioSensors;

namespace {

/// The first values that a thread has read.
std::vector<double> polled(IioReading& reading, const host::IioChannels& sensor)
{
    IioReading::Values values;
    std::vector<std::string> problems;
    EXPECT_TRUE(waitUntil([&] {
        reading.update(engine::monotonicNow(), problems);
        return (values = reading.read(sensor)).has_value();
    }));
    return values.value_or(std::vector<double>{}).value_or(std::vector<double>{});
}

} // namespace

TEST(IioReading, TakesTheNewestScanOfEachBufferWhileItIsNew)
{
    SensorFolder machine;
    machine.plugIn(2,
        with(with(gyroscope,
                 buffered({{"in_timestamp", "le:s64/64>>0"}, {"in_anglvel_z", "le:u8/8>>0"},
                     {"in_temp", "le:s64/64>>0"}, {"in_anglvel_y", "be:s24/32>>8"},
                     {"in_anglvel_x", "le:s12/16>>4"}})),
            {{"scan_elements/in_timestamp_en", "1\n"}}));
    const std::string scan("\0\0\0\0\0\0\0\0\xC8\0\0\0\xFE\x79\x60\xAA\xD5\xFF\0\0\0\0\0\0", 24);
    machine.fill(2, std::string(24, '\7') + scan);
    machine.plugIn(3,
        with(with(upright,
                 buffered({{"in_rot_quaternion", "le:s32/32X4>>0"}, {"in_accel_x", "le:s8/8>>0"},
                     {"in_accel_y", "le:s8/8>>0"}, {"in_accel_z", "le:s8/8>>0"}})),
            {{"in_rot_quaternion_raw", "9 9 9 9"}, {"sampling_frequency", "10\n"},
                {"sampling_frequency_available", "5 10\n"}, {"trigger/current_trigger", "clock\n"}}));
    machine.fill(3, std::string("\1\0\0\0\xFE\xFF\xFF\xFF\3\0\0\0\0\1\0\0abc", 19) + std::string(13, '\0'));
    std::vector<std::string> problems;
    host::IioPollers pollers;
    const IioSensors sensors = IioSensors::discover(machine.scratch.file(""), problems);
    ASSERT_TRUE(sensors.gyroscope && sensors.accelerometer && sensors.attitude);
    const auto& rate = sensors.gyroscope->channels();
    const auto& acceleration = sensors.accelerometer->channels();
    const auto& attitude = sensors.attitude->channels();
    EXPECT_NEAR(
        sensors.attitude->attitude(std::vector<double>{0, 0, 5, 5}).value().yaw, std::numbers::pi / 2, 1e-9);
    {
        IioReading reading(machine.scratch.file(""), pollers, {&rate, &acceleration, &attitude}, 20ms);
        const auto opened = engine::monotonicNow();
        const std::vector<double> turn{1, -2, 3, 256};
        EXPECT_FALSE(reading.read(rate)) << "nothing yet";
        reading.update(opened, problems);
        EXPECT_EQ(reading.read(rate).value(), (std::vector<double>{-3, -100000, 200}));
        EXPECT_EQ(reading.read(attitude).value(), turn);
        EXPECT_EQ(reading.read(acceleration).value(), (std::vector<double>{'a', 'b', 'c'}));
        reading.update(opened + 39ms, problems);
        EXPECT_TRUE(reading.read(rate)) << "for two intervals";
        reading.update(opened + 41ms, problems);
        EXPECT_FALSE(reading.read(rate));
        reading.update(opened + 199ms, problems);
        EXPECT_EQ(reading.read(attitude).value(), turn) << "ten a second";
        EXPECT_EQ(machine.attribute(2, "trigger/current_trigger"), "imu-dev2");
        EXPECT_EQ(machine.attribute(3, "trigger/current_trigger"), "clock\n");
        EXPECT_EQ(machine.attribute(2, "buffer/enable"), "1");
        EXPECT_EQ(problems, std::vector<std::string>{});
        reading.update(opened + 1001ms, problems);
        EXPECT_EQ(polled(reading, rate), (std::vector<double>{10, -20, 350}));
        EXPECT_EQ(problems.size(), 2U) << "one for each";
        EXPECT_EQ(machine.attribute(2, "buffer/enable"), "0");
        reading.update(engine::monotonicNow() + 1h, problems);
        EXPECT_FALSE(reading.read(rate)) << "polled values age, too";
    }
    for (const char* name : {"buffer/enable", "scan_elements/in_anglvel_x_en", "scan_elements/in_temp_en"})
        EXPECT_EQ(machine.attribute(2, name), "0") << name;
    EXPECT_EQ(machine.attribute(2, "scan_elements/in_timestamp_en"), "1\n");
    EXPECT_EQ(machine.attribute(2, "buffer/length"), "2");
    EXPECT_EQ(machine.attribute(2, "trigger/current_trigger"), "\n");
}

TEST(IioReading, PollsWhereABufferIsUnusable)
{
    const auto problemsAfter = [](const std::function<void(SensorFolder&)>& spoil) {
        SensorFolder machine;
        machine.plugIn(0, bufferedGyroscope);
        machine.fill(0, "abcabcabcabc");
        spoil(machine);
        std::vector<std::string> problems;
        host::IioPollers pollers;
        const IioSensors sensors = IioSensors::discover(machine.scratch.file(""), problems);
        const auto& rate = sensors.gyroscope.value().channels();
        IioReading reading(machine.scratch.file(""), pollers, {&rate}, 20ms);
        reading.update(engine::monotonicNow(), problems);
        EXPECT_EQ(polled(reading, rate), (std::vector<double>{10, -20, 350}));
        EXPECT_EQ(count(problems.empty() ? "" : problems[0], "\n"), 0U);
        return problems.size();
    };
    const auto without = [](const std::string& file) {
        return [file](SensorFolder& machine) { std::filesystem::remove(machine.scratch.file(file)); };
    };
    const std::string folder = "sys/bus/iio/devices/iio:device0/";
    EXPECT_EQ(problemsAfter(without("dev/iio:device0")), 0U) << "no permission";
    EXPECT_EQ(problemsAfter(without("sys/bus/iio/devices/trigger0/name")), 0U);
    EXPECT_EQ(problemsAfter(without(folder + "buffer/enable")), 0U);
    EXPECT_EQ(problemsAfter(without(folder + "buffer/length")), 1U);
    EXPECT_EQ(problemsAfter(without(folder + "scan_elements/in_anglvel_y_type")), 1U);
    EXPECT_EQ(problemsAfter([](SensorFolder& machine) { machine.fill(0, "abcd"); }), 1U)
        << "a part of a scan";
    EXPECT_EQ(problemsAfter([&](SensorFolder& machine) { // a reading fails
        without("dev/iio:device0")(machine);
        std::filesystem::create_directories(machine.scratch.file("dev/iio:device0"));
    }),
        1U);
    for (const auto& [attribute, values] : std::map<std::string, std::vector<std::string>>{
             {"scan_elements/in_anglvel_y_type",
                 {"", "le", "le:s8", "le:s16/8", "le:s0/8", "le:s8/8>>1", "le:s24/24", "me:s8/8", "le:f8/8",
                     "le:s8/8X99999999999", "le:s8/8X0", "le:s8/8X2", "le:s8/8x"}},
             {"scan_elements/in_anglvel_z_index",
                 {"", "first", "nan", "1e300", "-1e4", std::string(5000, '9'),
                     bufferedGyroscope.at("scan_elements/in_anglvel_x_index")}}}) {
        for (const std::string& value : values)
            EXPECT_EQ(
                problemsAfter([&](SensorFolder& machine) { machine.plugIn(0, {{attribute, value}}); }), 1U)
                << attribute << " " << value;
    }
    EXPECT_EQ(problemsAfter([&](SensorFolder& machine) { machine.plugIn(0, {{"buffer/enable", "1"}}); }), 0U)
        << "another process uses it";
}

} // namespace tamsel::tests
