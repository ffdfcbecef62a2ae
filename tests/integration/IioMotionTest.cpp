#include "support/Program.h"
#include "support/SensorFolder.h"

#include <engine/dispatch/monotonicNow.h>
#include <host/iio/IioMotion.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <numbers>
#include <thread>

namespace tamsel::tests {

using namespace std::chrono_literals;
using engine::MotionService;
using host::IioMotion;

namespace {

struct Machine : SensorFolder {
    /// The first sample.
    engine::GyroReading gyro(std::chrono::nanoseconds interval = 10ms)
    {
        const auto use = motion->use(MotionService::gyro, interval);
        return next(&IioMotion::readGyro);
    }
    /// In degrees.
    double pitch()
    {
        const auto use = motion->use(MotionService::deviceMotion, 10ms);
        const auto reading = next(&IioMotion::readDeviceMotion);
        return reading.sample ? reading.sample->attitude.pitch * 180 / std::numbers::pi : NAN;
    }
    template <typename Reading>
    Reading next(std::optional<Reading> (IioMotion::*read)(std::chrono::nanoseconds))
    {
        std::optional<Reading> reading;
        EXPECT_TRUE(
            waitUntil([&] { return (reading = (motion.get()->*read)(engine::monotonicNow())).has_value(); }));
        return reading.value_or(Reading{});
    }

    std::vector<std::string> lines;
    std::unique_ptr<IioMotion> motion = std::make_unique<IioMotion>(
        [this](std::string_view line) { lines.emplace_back(line); }, scratch.file(""));
};

} // namespace

TEST(IioMotion, ReadsSensorsAlongTheAxesOfTheDevice)
{
    const struct {
        const char* what;
        Attributes attributes;
        platform::CMRotationRate rate;
        double pitch;
    } cases[] = {
        {"as mounted", {}, {0.01, -0.02, 0.35}, 90},
        {"offset and a scale of its own",
            {{"in_anglvel_offset", "5"}, {"in_anglvel_z_scale", "0.01"}, {"in_accel_z_offset", "981"}},
            {0.015, -0.015, 3.55}, 45},
        {"mounted the other way", {{"in_mount_matrix", "0, 1, 0; -1, 0, 0; 0, 0, 1"}}, {-0.02, -0.01, 0.35},
            0},
        {"each with its matrix",
            {{"in_accel_mount_matrix", "1,0,0;0,-1,0;0,0,-1"},
                {"in_anglvel_mount_matrix", "0,0,1;1,0,0;0,1,0"}},
            {0.35, 0.01, -0.02}, -90},
        {"behind a hub, which reports gravity itself", {{"name", "accel_3d\n"}}, {0.01, -0.02, 0.35}, -90},
        {"with a sensor of its attitude", {{"in_rot_quaternion_raw", "5000 0 0 8660\n"}}, {0.01, -0.02, 0.35},
            60},
        {"with one that is mounted the other way",
            {{"in_rot_quaternion_raw", "5000 0 0 8660\n"}, {"in_rot_mount_matrix", "0,1,0;0,0,1;1,0,0"}},
            {0.01, -0.02, 0.35}, 30},
        {"with one that has none yet", {{"in_rot_quaternion_raw", "0 0 0 0\n"}}, {0.01, -0.02, 0.35}, 90},
    };
    for (const auto& [what, attributes, rate, pitch] : cases) {
        SCOPED_TRACE(what);
        Machine machine;
        machine.plugIn(3, with(with(gyroscope, upright), attributes));
        ASSERT_TRUE(machine.motion->hasGyro());
        ASSERT_TRUE(machine.motion->hasDeviceMotion());
        EXPECT_EQ(machine.lines, std::vector<std::string>{});
        const auto read = machine.gyro().sample.value_or(platform::CMGyroData{}).rotationRate;
        EXPECT_NEAR(read.x, rate.x, 1e-12);
        EXPECT_NEAR(read.y, rate.y, 1e-12);
        EXPECT_NEAR(read.z, rate.z, 1e-12);
        Machine still;
        still.plugIn(0, with(upright, attributes));
        EXPECT_FALSE(still.motion->hasGyro());
        EXPECT_TRUE(still.motion->hasDeviceMotion());
        EXPECT_NEAR(still.pitch(), pitch, 0.01);
    }
}

TEST(IioMotion, TakesTheSensorsOfTheScreenAndTheNextFasterFrequency)
{
    Machine machine;
    machine.plugIn(0, with(upright, {{"label", "accel-base"}, {"in_accel_y_raw", "-981"}}));
    EXPECT_FALSE(machine.motion->hasGyro());
    EXPECT_TRUE(machine.motion->hasDeviceMotion());
    EXPECT_NEAR(machine.pitch(), -90, 0.01) << "gravity alone";
    machine.plugIn(10, upright);
    EXPECT_TRUE(machine.motion->hasDeviceMotion());
    EXPECT_NEAR(machine.pitch(), 90, 0.01);
    machine.plugIn(
        11, with(upright, {{"location", "accel-display"}, {"in_accel_y_raw", "0"}, {"in_accel_z_raw", "9"}}));
    machine.plugIn(2, with(gyroscope, {{"sampling_frequency_available", "200 12.5 25 100\n"}}));
    machine.plugIn(4, with(gyroscope, {{"in_anglvel_scale", "0"}}));
    machine.plugIn(1, with(gyroscope, {{"label", "base"}}));
    EXPECT_TRUE(machine.motion->hasGyro());
    EXPECT_EQ(machine.lines, std::vector<std::string>{}) << "what is not needed is not looked at";
    EXPECT_NEAR(machine.pitch(), 0, 5) << "of the screen, as far as the rate has turned it";
    for (const auto& [available, interval, chosen] :
        std::vector<std::tuple<const char*, std::chrono::nanoseconds, const char*>>{
            {"200 12.5 25 100\n", 50ms, "25"}, {"200 12.5 25 100\n", 100ms, "12.5"}, {"10 20", 1ms, "20"},
            {"[10 5 200]", 30ms, "35"}, {"fast nan", 40ms, "unchanged"}, {nullptr, 45ms, "23"}}) {
        const std::string list = machine.folder(2) + "sampling_frequency_available";
        if (available)
            writeFile(list, available);
        else
            std::filesystem::remove(list);
        writeFile(machine.folder(2) + "sampling_frequency", "unchanged");
        EXPECT_TRUE(machine.gyro(interval).sample);
        EXPECT_EQ(readFile(machine.folder(2) + "sampling_frequency"), chosen) << interval.count();
    }
}

TEST(IioMotion, DoesNotFuseAcrossAHinge)
{
    for (const bool isInBase : {false, true}) {
        Machine machine;
        machine.plugIn(0, with(upright, {{"label", "accel-display"}, {"in_accel_z_raw", "981"}}));
        machine.plugIn(2, {{"label", "base"}, {"in_rot_quaternion_raw", "0 0 0 1"}});
        machine.plugIn(1, with(gyroscope, {{"label", isInBase ? "base" : ""}, {"in_anglvel_x_raw", "1000"}}));
        ASSERT_TRUE(machine.motion->hasGyro());
        const auto use = machine.motion->use(MotionService::deviceMotion, 10ms);
        const auto pitch = [&] {
            const auto reading = machine.next(&IioMotion::readDeviceMotion);
            EXPECT_EQ(reading.sample.value_or(platform::CMDeviceMotion{}).rotationRate.x, 1);
            return reading.sample.value_or(platform::CMDeviceMotion{}).attitude.pitch * 180
                / std::numbers::pi;
        };
        EXPECT_NEAR(pitch(), 45, isInBase ? 0.01 : 80);
        EXPECT_TRUE(waitUntil([&] { return isInBase || pitch() > 46; })) << "it turns";
    }
}

TEST(IioMotion, SaysInOneLineWhatIsWrongWithASensor)
{
    const std::string endless(5000, '9');
    for (const std::string attribute : {"in_anglvel_scale", "in_anglvel_y_offset", "mount_matrix"}) {
        for (const std::string& value : {std::string(), std::string("\n"), std::string("fast"),
                 std::string("1e999"), std::string("nan"), std::string("-inf"), endless, std::string("1 1"),
                 std::string("0 0 0; 0 0 0; 0 0 0"), std::string("1\0", 2)}) {
            Machine machine;
            machine.plugIn(0, with(with(gyroscope, upright), {{attribute, value}}));
            EXPECT_FALSE(machine.motion->hasGyro()) << attribute << " " << value;
            EXPECT_EQ(machine.motion->hasDeviceMotion(), attribute != "mount_matrix")
                << "the other one works";
            ASSERT_EQ(machine.lines.size(), attribute == "mount_matrix" ? 2U : 1U);
            EXPECT_TRUE(machine.lines[0].starts_with("gyroscope unusable: ")) << machine.lines[0];
            EXPECT_TRUE(machine.lines[0].contains(attribute + ": ")) << machine.lines[0];
            EXPECT_EQ(count(machine.lines[0], "\n"), 0U);
        }
    }
    for (const std::string& value :
        {std::string(), std::string("fast"), std::string("99999999999"), endless}) {
        Machine machine;
        machine.plugIn(0, with(gyroscope, {{"in_anglvel_y_raw", value}}));
        EXPECT_TRUE(machine.motion->hasGyro()) << "the sensor itself is asked later";
        const auto reading = machine.gyro();
        EXPECT_FALSE(reading.sample);
        EXPECT_TRUE(
            reading.error.value_or(platform::Error{}).localizedDescription.contains("in_anglvel_y_raw: "));
    }
    Machine machine;
    machine.plugIn(0, gyroscope);
    std::filesystem::remove(machine.folder(0) + "in_anglvel_z_raw");
    EXPECT_FALSE(machine.motion->hasGyro());
    EXPECT_FALSE(machine.motion->hasDeviceMotion());
    EXPECT_EQ(machine.lines.size(), 1U) << "it is said once";

    machine.plugIn(1, with(bufferedGyroscope, {{"scan_elements/in_anglvel_x_type", "fast"}}));
    machine.fill(1, "");
    EXPECT_TRUE(machine.motion->hasGyro());
    for (const auto interval : {10ms, 20ms})
        EXPECT_TRUE(machine.gyro(interval).sample);
    EXPECT_EQ(count(machine.lines.back(), "in_anglvel_x_type: not a type"), 1U);
    EXPECT_EQ(machine.lines.size(), 3U) << "that of the first sensor again";
}

TEST(IioMotion, ReportsASensorThatIsGoneAndFindsItAgain)
{
    Machine machine;
    machine.plugIn(0, with(gyroscope, upright));
    ASSERT_TRUE(machine.motion->hasGyro());
    const auto use = machine.motion->use(MotionService::gyro, 5ms);
    const auto both = machine.motion->use(MotionService::deviceMotion, 5ms);
    EXPECT_TRUE(machine.next(&IioMotion::readGyro).sample);
    std::filesystem::remove_all(machine.folder(0));
    EXPECT_TRUE(waitUntil([&] { return machine.next(&IioMotion::readGyro).error.has_value(); }));
    EXPECT_TRUE(machine.next(&IioMotion::readDeviceMotion).error);
    EXPECT_FALSE(machine.motion->hasGyro());
    EXPECT_FALSE(machine.motion->hasDeviceMotion());
    machine.plugIn(1, with(with(gyroscope, upright), {{"in_anglvel_scale", "1"}}));
    EXPECT_TRUE(machine.motion->hasGyro());
    EXPECT_TRUE(waitUntil([&] { return machine.next(&IioMotion::readGyro).sample.has_value(); }));
    EXPECT_EQ(machine.next(&IioMotion::readGyro).sample->rotationRate.z, 350);
    EXPECT_TRUE(waitUntil([&] { return machine.next(&IioMotion::readDeviceMotion).sample.has_value(); }));
}

TEST(IioMotion, RestoresBuffersWhenItEndsAndAfterAReplacement)
{
    Machine machine;
    const Attributes slow
        = with(bufferedGyroscope, {{"sampling_frequency", "1"}, {"sampling_frequency_available", "1"}});
    machine.plugIn(0, slow);
    machine.fill(0, "abc");
    const auto becomes = [&](double z) {
        return waitUntil([&] {
            const auto reading = machine.next(&IioMotion::readGyro);
            return reading.sample && std::abs(reading.sample->rotationRate.z - z) < 1e-12;
        });
    };
    ASSERT_TRUE(machine.motion->hasGyro());
    const auto use = machine.motion->use(MotionService::gyro, 10ms);
    EXPECT_TRUE(becomes(0.001 * 'c'));
    std::filesystem::remove_all(machine.folder(0));
    EXPECT_TRUE(waitUntil([&] { return machine.next(&IioMotion::readGyro).error.has_value(); }));
    EXPECT_EQ(machine.lines.size(), 1U) << "the buffer is empty";
    machine.plugIn(1, slow);
    machine.fill(1, "def");
    EXPECT_TRUE(machine.motion->hasGyro());
    EXPECT_TRUE(becomes(0.001 * 'f'));
    EXPECT_EQ(machine.attribute(1, "buffer/enable"), "1");
    machine.motion.reset();
    EXPECT_EQ(machine.attribute(1, "buffer/enable"), "0");
}

TEST(IioMotion, WaitsForNoSensor)
{
    const auto threads
        = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}); };
    std::thread([] { }).join(); // a sanitizer starts a thread of its own with the first one
    const auto before = threads();
    Machine machine;
    machine.plugIn(0, gyroscope);
    const std::string pipe = machine.folder(0) + "in_anglvel_x_raw";
    std::filesystem::remove(pipe);
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_TRUE(machine.motion->hasGyro());
    auto use = machine.motion->use(MotionService::gyro, 100ms);
    const auto answer = [&](const std::string& value) {
        int descriptor = -1;
        EXPECT_TRUE(waitUntil([&] { // until the thread has opened it
            descriptor = ::open(pipe.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
            return descriptor >= 0;
        }));
        EXPECT_EQ(::write(descriptor, value.data(), value.size()), static_cast<ssize_t>(value.size()));
        return descriptor;
    };
    const int first = answer("7\n");
    const auto later = [&](auto time) { return machine.motion->readGyro(engine::monotonicNow() + time); };
    EXPECT_FALSE(later(500ms)) << "nothing new";
    EXPECT_TRUE(later(2s).value_or(engine::GyroReading{}).error) << "no answer for two seconds";
    ::close(first);
    EXPECT_NEAR(machine.next(&IioMotion::readGyro).sample.value_or(platform::CMGyroData{}).rotationRate.x,
        0.007, 1e-12);

    machine.plugIn(1, upright);
    EXPECT_TRUE(machine.motion->hasDeviceMotion());
    EXPECT_NEAR(machine.pitch(), 90, 0.01) << "the other sensor works";
    for (int again = 0; again < 20; ++again)
        (void)machine.motion->use(MotionService::deviceMotion, 10ms);
    EXPECT_TRUE(waitUntil([&] { return threads() <= before + 2; })) << "one thread for it all";

    const int second = answer("8\n"); // the thread is in the next reading
    use = nullptr;
    use = machine.motion->use(MotionService::gyro, 100ms);
    EXPECT_FALSE(later(0s)) << "the reading of an earlier use";
    use = nullptr;
    ::close(second);
    EXPECT_TRUE(waitUntil([&] {
        const int last = ::open(pipe.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
        ::close(last);
        return threads() <= before;
    })) << "its threads end with the reading";
}

namespace {

std::string mocked(const ScratchFolder& folder, const Attributes& attributes)
{
    std::string device = "P: /devices/iio:device0\nE: DEVTYPE=iio_device\nE: SUBSYSTEM=iio\n";
    for (const auto& [name, value] : attributes)
        device += "A: " + name + "=" + value.substr(0, value.find('\n')) + "\\n\n";
    writeFile(folder.file("sensors.umockdev"), device);
    return "umockdev-run --device='" + folder.file("sensors.umockdev") + "' -- '" + captureProgram()
        + "' --json --back test:64x48 ";
}

} // namespace

TEST(IioMotion, IsWhatTheCommandUses)
{
    if (runCommand("umockdev-run --version").status != 0)
        GTEST_SKIP() << "umockdev is not installed";
    const ScratchFolder folder;
    const std::string program = mocked(folder, with(gyroscope, upright));
    const CommandResult status = runCommand(program + "status");
    EXPECT_TRUE(status.output.contains("\"gyroscope\": true, \"attitude\": true")) << status.output;
    const CommandResult captured = runCommand(
        program + "capture '" + folder.file("out") + "' --require still,tilted --motion sensors");
    EXPECT_EQ(captured.status, 0) << captured.output;
    EXPECT_TRUE(captured.output.contains("\"stable\": true")) << captured.output;
    EXPECT_TRUE(captured.output.contains("\"facing\": true")) << captured.output;

    const std::string broken = mocked(folder, with(upright, {{"in_accel_scale", "none"}}));
    const CommandResult missing = runCommand(broken + "motion sensors 2>&1");
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(count(missing.output, "accelerometer unusable: "), 1U) << missing.output;
    EXPECT_EQ(count(missing.output, "tamsel-capture: this machine has no motion sensors\n"), 1U);
}

} // namespace tamsel::tests
