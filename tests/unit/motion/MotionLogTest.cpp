#include <formats/MotionLog.h>

#include <engine/motion/Motion.h>
#include <simulated/Phone.h>
#include <simulated/RandomChooser.h>
#include <simulated/Scheduler.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <sstream>

namespace tamsel::tests {

using namespace std::chrono_literals;
using formats::MotionLog;

namespace {

std::expected<std::shared_ptr<const MotionLog>, platform::Error> parsed(
    const std::string& text, const std::string& name = "walk.csv")
{
    std::istringstream stream(text);
    return MotionLog::parse(stream, name);
}

std::string errorOf(const std::string& text, const std::string& name = "walk.csv")
{
    const auto log = parsed(text, name);
    return log ? "no error" : log.error().localizedDescription;
}

/// The log of a text that is good.
std::shared_ptr<const MotionLog> logOf(const std::string& text)
{
    const auto log = parsed(text);
    EXPECT_TRUE(log.has_value()) << log.error().localizedDescription;
    return log ? *log : std::make_shared<const MotionLog>(std::vector<MotionLog::Row>(1));
}

} // namespace

TEST(MotionLog, ReadsTheColumnsThatTheHeaderNames)
{
    for (const char* text : {
             "t,x,y,z\n0.5,1,-2,3e-1\n0.51,4,5,6\n",
             "\"Time (s)\",\"X (rad/s)\",\"Y (rad/s)\",\"Z "
             "(rad/s)\"\r\n5.0E-1,1.0E0,-2,3.0E-1\r\n5.1E-1,4,5,6",
             "z;other;y;timestamp;x\n.3;a b;-2;0.5;+1\n6;;5;0.51;4\n\n",
             "\xEF\xBB\xBF# a comment, too\nrotationRate.y\trotationRate.x\tTIME "
             "[s]\trotation_rate_z\n-2\t1\t0.5\t0.3\n5\t4\t0.51\t6",
             "time,seconds_elapsed,z,y,x\n1628772230165000123,0.5,0.3,-2,1\n1628772230175000123,0.51,6,5,4\n",
             "Time (ms),Seconds Elapsed,z,y,x\n7,0.5,0.3,-2,1\n6,0.51,6,5,4\n",
             "# recorded by a test\n\nt, x, y, z, note\n 0.5 , 1, -2, 0.3, \"a, \"\"b\"\"\"\n# in "
             "between\n0.51,4,5,6,\n",
         }) {
        const auto log = logOf(text);
        EXPECT_EQ(log->firstTime(), 0.5);
        ASSERT_EQ(log->rows().size(), 2U) << text;
        EXPECT_EQ(log->rows()[0].rotationRate, (platform::CMRotationRate{1, -2, 0.3}));
        EXPECT_EQ(log->rows()[1].rotationRate, (platform::CMRotationRate{4, 5, 6}));
        EXPECT_EQ(log->rows()[0].offset, 0ns);
        EXPECT_EQ(log->rows()[1].offset, 10ms);
        EXPECT_FALSE(log->hasPitch());
    }
    const auto since1970 = logOf("t,x,y,z\n1700000000.000000001,0,0,0\n1700000000.2,0,0,0\n");
    EXPECT_EQ(since1970->length(), 199'999'999ns) << "to the nanosecond";
}

TEST(MotionLog, TakesPitchFromItsColumnOrElseFromTheAttitude)
{
    const auto quaternion = logOf("t,x,y,z,attitude.w,attitude.z,attitude.y,attitude.x,derived_pitch_rad\n"
                                  "0,0,0,0,1,0,0,0,9\n"
                                  "1,0,0,0,0.9238795325112867,0,0,0.3826834323650898,9\n"
                                  "2,0,0,0,0.5,0.5,0.5,-0.5,9\n"
                                  "3,0,0,0,0.5,0.5000001,0.5000001,0.5,9\n"
                                  "4,0,0,0,0.6,0,0.8,0,9\n");
    ASSERT_TRUE(quaternion->hasPitch());
    EXPECT_EQ(quaternion->rows()[0].pitch, 0);
    EXPECT_NEAR(quaternion->rows()[1].pitch.value_or(0), std::numbers::pi / 4, 1e-15);
    EXPECT_EQ(quaternion->rows()[2].pitch, 0);
    EXPECT_EQ(quaternion->rows()[3].pitch, std::numbers::pi / 2) << "rounding leads no further than up";
    EXPECT_EQ(quaternion->rows()[4].pitch, 0) << "turned about y alone";
    for (const char* none : {"0,0,0,0", "1,1,0,0", "1e200,0,0,0"})
        EXPECT_EQ(errorOf("t,x,y,z,qw,qx,qy,qz\n0,0,0,0," + std::string(none) + "\n"),
            "walk.csv:2: the attitude is not a unit quaternion");
    const auto column = logOf("pitch (rad),t,x,y,z,qx,qy,qz,qw\n0.25,0,0,0,0,none,at,all,0\n");
    EXPECT_TRUE(column->hasPitch());
    EXPECT_EQ(column->rows()[0].pitch, 0.25);
    for (const char* text :
        {"time,seconds_elapsed,qz,qy,qx,qw,roll,pitch,yaw\n1628772230165000123,3,0,0,0,1,7,0.25,9\n",
            "time,seconds_elapsed,yaw,qx,qz,roll,qw,qy,pitch\n1628772230165000123,3,9,0,0,7,1,0,0.25\n"}) {
        const auto orientation = logOf(text);
        EXPECT_FALSE(orientation->hasRotationRate());
        EXPECT_EQ(orientation->rows()[0].pitch, 0.25);
        EXPECT_EQ(orientation->firstTime(), 3);
    }
}

TEST(MotionLog, RefusesWhatIsNotALogInOneLineThatSaysWhere)
{
    EXPECT_EQ(errorOf(""), "walk.csv:1: the log is empty");
    EXPECT_EQ(errorOf("\n\n"), "walk.csv:2: the log is empty");
    EXPECT_EQ(errorOf("t,x,y,z"), "walk.csv:1: the log has no samples");
    EXPECT_EQ(errorOf("x,y,z\n1,2,3"), "walk.csv:1: no time column");
    EXPECT_EQ(
        errorOf("t,x,y,pitch\n1,2,3,4"), "walk.csv:1: the rotation rate needs three columns: x, y and z");
    EXPECT_EQ(errorOf("t,roll,yaw\n1,2,3"),
        "walk.csv:1: no columns for the rotation rate, the pitch or the attitude");
    for (const char* other :
        {"Accelerometer.csv", "walk/TotalAcceleration.csv", "Gravity.csv", "magnetometer.csv"})
        EXPECT_TRUE(errorOf("t,x,y,z\n1,2,3,4", other).contains("after another sensor")) << other;
    EXPECT_EQ(errorOf("t,x,y,z\n1,2,3,4", "gravity/accelerometer_and_gyroscope.csv"), "no error");
    EXPECT_EQ(errorOf("t,x (rad/s),y,z\n1,2,3,4", "acceleration.csv"), "no error");
    EXPECT_EQ(errorOf("0,1,2,3\n0,1,2,3"), "walk.csv:1: no time column");
    EXPECT_EQ(errorOf("t,x,y,z,qx,qy,qz\n0,0,0,0,0,0,0"),
        "walk.csv:1: the attitude needs four columns: x, y, z and w");
    EXPECT_EQ(errorOf("t,time,x,y,z\n"), "walk.csv:1: column 'time' repeats an earlier one");
    EXPECT_EQ(errorOf("Time (ms),x,y,z\n"), "walk.csv:1: column 'Time (ms)' is not in s");
    EXPECT_EQ(errorOf("t,x (deg/s),y,z\n"), "walk.csv:1: column 'x (deg/s)' is not in rad/s");
    EXPECT_EQ(errorOf("t,x,y,z,Pitch (deg)\n"), "walk.csv:1: column 'Pitch (deg)' is not in rad");
    const std::string header = "t,x,y,z\n0,0,0,0\n";
    EXPECT_EQ(errorOf(header + "1,0,fast,0\n"), "walk.csv:3: 'fast' is not a number");
    EXPECT_EQ(errorOf(header + "1,0,,0\n"), "walk.csv:3: a number is missing");
    for (const char* number : {"nan", "-inf", "1e999", "0x10", "1,5", "--1", "+-1", "1 2", "1.2.3", "\"1"})
        EXPECT_TRUE(errorOf(header + "1,0,0," + number + "\n").starts_with("walk.csv:3: ")) << number;
    EXPECT_EQ(errorOf(header + "nan,0,0,0\n"), "walk.csv:3: 'nan' is not a number");
    EXPECT_EQ(errorOf(header + "1,0,0\n"), "walk.csv:3: the line has 3 fields, the header 4");
    EXPECT_EQ(errorOf(header + "\n2,0,0,0\n1.999999,0,0,0\n"), "walk.csv:5: the time decreases");
    EXPECT_EQ(errorOf(header + "700000,0,0,0\n"), "walk.csv:3: the time is too far from the first")
        << "more than a week";
    EXPECT_EQ(errorOf("time,x,y,z\n1628772230165000123,0,0,0\n"), "walk.csv:2: the time is not in seconds");
    EXPECT_EQ(errorOf(header + "1,0,0,\x1b[31m\n"), "walk.csv:3: '?[31m' is not a number");
    EXPECT_EQ(errorOf(header + std::string(100'000, ',')), "walk.csv:3: the line is too long for a log");
    EXPECT_EQ(errorOf(std::string(100'000, '\0')), "walk.csv:1: the line is too long for a log");
    EXPECT_EQ(errorOf(header + std::string("1,0,0,1\0", 8) + "\n").substr(0, 11), "walk.csv:3:");
    EXPECT_EQ(logOf(header + "0,0,0,0\n")->rows().size(), 2U) << "time may stand still";
    EXPECT_EQ(MotionLog::read("/nowhere/walk.csv").error().localizedDescription,
        "/nowhere/walk.csv: cannot be read");
    EXPECT_EQ(MotionLog::read("/").error().localizedDescription, "/: cannot be read");
    EXPECT_EQ(MotionLog::read("/dev/null").error().localizedDescription, "/dev/null:1: the log is empty");
}

namespace {

/// The times and values of what the gyroscope of a phone says.
struct Listener {
    explicit Listener(simulated::PhoneConfiguration configuration)
        : phone(std::move(configuration)),
          queue(phone.makeQueue("samples")),
          manager(phone.platform().motion.makeMotionManager())
    {
    }
    void listen()
    {
        manager->startGyroUpdates(
            queue, [this](const std::optional<platform::CMGyroData>& sample, const auto& /*error*/) {
                heard.push_back({std::chrono::duration_cast<std::chrono::milliseconds>(phone.now()).count(),
                    sample->rotationRate.x, sample->timestamp});
            });
    }

    using Heard = std::vector<std::tuple<std::int64_t, double, double>>;
    simulated::Phone phone;
    std::shared_ptr<platform::DispatchQueue> queue;
    std::shared_ptr<platform::CMMotionManager> manager;
    Heard heard;
};

} // namespace

TEST(MotionLog, IsReplayedFromTheFirstStartAtThePaceOfTheStream)
{
    Listener listener({.motionLog = logOf("t,x,y,z\n7,1,0,0\n7.15,2,0,0\n7.2,3,0,0\n7.65,4,0,0\n")});
    EXPECT_TRUE(listener.manager->isGyroAvailable());
    EXPECT_FALSE(listener.manager->isDeviceMotionAvailable());
    listener.phone.advance(1s); // nobody listens, so the log has not begun
    listener.manager->setGyroUpdateInterval(0.1);
    listener.listen();
    listener.phone.advance(350ms);
    EXPECT_EQ(listener.heard, (Listener::Heard{{1100, 1, 7}, {1200, 3, 7.2}, {1300, 3, 7.2}}));
    listener.manager->stopGyroUpdates();
    listener.heard.clear();
    listener.phone.advance(30ms);
    listener.listen();
    listener.phone.advance(1s);
    EXPECT_EQ(listener.heard, (Listener::Heard{{1480, 3, 7.2}, {1580, 3, 7.2}}))
        << "the log has gone on meanwhile, and ends with its last row, which no tick met";
}

TEST(MotionStream, CountsItsTicksFromTheStartAndANewPaceFromTheLatestTick)
{
    Listener listener({});
    const auto times = [&] {
        std::vector<std::int64_t> result;
        for (const auto& [time, rate, timestamp] : std::exchange(listener.heard, {}))
            result.push_back(time);
        return result;
    };
    using Times = std::vector<std::int64_t>;
    listener.manager->setGyroUpdateInterval(0.1);
    listener.listen();
    listener.phone.advance(250ms);
    listener.manager->setGyroUpdateInterval(0.1);
    listener.listen();
    listener.phone.advance(100ms);
    EXPECT_EQ(times(), (Times{100, 200, 300})) << "neither the same pace nor a second start begins anew";
    listener.manager->setGyroUpdateInterval(0.2);
    listener.phone.advance(400ms);
    EXPECT_EQ(times(), (Times{500, 700}));
    listener.manager->setGyroUpdateInterval(0.02);
    listener.phone.advance(45ms);
    EXPECT_EQ(times(), (Times{750, 770, 790})) << "what would have been due already comes at once";
    listener.manager->setGyroUpdateInterval(1e-9);
    listener.phone.advance(1ms);
    EXPECT_EQ(listener.heard.size(), 11U) << "no faster than every tenth of a millisecond";
    for (const double odd : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
        listener.heard.clear();
        listener.manager->setGyroUpdateInterval(odd);
        listener.phone.advance(1ms);
        EXPECT_EQ(listener.heard.size(), 10U) << "as fast as the device can";
    }
    listener.manager->setGyroUpdateInterval(std::numeric_limits<double>::infinity());
    listener.heard.clear();
    listener.phone.advance(1h);
    EXPECT_TRUE(listener.heard.empty());
}

namespace {

/// Writes the intervals at which it is used: + at the begin and - at the end.
struct UsedSensor final : engine::MotionDriver {
    bool hasGyro() const override { return true; }
    bool hasDeviceMotion() const override { return true; }
    void streamStarts(std::chrono::nanoseconds) override { }
    std::shared_ptr<void> use(engine::MotionService service, std::chrono::nanoseconds interval) override
    {
        const std::string name = (service == engine::MotionService::gyro ? "gyro " : "motion ")
            + std::to_string(interval / 1ms) + " ";
        uses += "+" + name;
        return std::shared_ptr<void>(nullptr, [this, name](void*) { uses += "-" + name; });
    }
    std::optional<engine::GyroReading> readGyro(std::chrono::nanoseconds) override { return std::nullopt; }
    std::optional<engine::DeviceMotionReading> readDeviceMotion(std::chrono::nanoseconds) override
    {
        return std::nullopt;
    }

    std::string uses;
};

} // namespace

TEST(MotionStream, UsesItsSensorWhileItRuns)
{
    simulated::Scheduler scheduler(std::make_shared<simulated::RandomChooser>(1), 0);
    const auto sensor = std::make_shared<UsedSensor>();
    engine::Motion motion(scheduler, scheduler, sensor);
    auto manager = motion.makeMotionManager();
    manager->setGyroUpdateInterval(0.2);
    EXPECT_EQ(sensor->uses, "");
    manager->startGyroUpdates(scheduler.mainQueue(), [](const auto&, const auto&) { });
    manager->setGyroUpdateInterval(0.1);
    manager->setGyroUpdateInterval(0.1);
    EXPECT_EQ(std::exchange(sensor->uses, {}), "+gyro 200 +gyro 100 -gyro 200 ") << "in use without a break";
    manager->stopGyroUpdates();
    manager->startDeviceMotionUpdates(scheduler.mainQueue(), [](const auto&, const auto&) { });
    manager = nullptr;
    EXPECT_EQ(sensor->uses, "-gyro 100 +motion 10 -motion 10 ");
}

} // namespace tamsel::tests
