#include "support/CaptureScreen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace tamsel::tests {

using namespace platform;

namespace {

const Error broken{.localizedDescription = "broken"};

/// A screen that listens to motion on a phone that a test holds, turns and tilts.
struct MotionScreen : CaptureScreen {
    explicit MotionScreen(simulated::PhoneConfiguration configuration = {},
        const std::vector<SourceType>& types = {SourceType::stability()})
        : CaptureScreen(std::move(configuration))
    {
        manager = OvriSourceManager::create(
            types, CameraConfiguration::SessionPreset::photo, responseQueue, phone.platform());
        phone.motion().script().gyro = [this](auto) {
            return engine::GyroReading{.sample = CMGyroData{.rotationRate = {rate, 0, 0}}};
        };
        phone.motion().script().deviceMotion = [this](auto) {
            return engine::DeviceMotionReading{.sample = CMDeviceMotion{.attitude = {.pitch = pitch}}};
        };
        phone.run();
        phone.journal().clear();
    }

    void detect(const std::vector<SourceType>& sources, const Configurations& configurations = {})
    {
        manager->startMotionDetection(sources, client, configurations);
    }

    /// The calls of the motion services since the last time.
    Texts calls()
    {
        phone.run();
        Texts texts = phone.journal().texts();
        phone.journal().clear();
        return texts;
    }
    Texts told(std::chrono::nanoseconds duration)
    {
        phone.advance(duration);
        return std::exchange(client->calls, {});
    }
    /// The phone turns at this rate from one sample to the next.
    Texts shake(double by)
    {
        rate += by;
        return told(200ms);
    }

    double rate = 0;
    double pitch = 0;
};

const std::vector both{SourceType::stability(), SourceType::facingAngle()};

} // namespace

TEST(MotionDetection, StartsFacingAngleBeforeStabilityAndEachOnce)
{
    MotionScreen screen;
    screen.detect({SourceType::stability(), SourceType::mic(), SourceType::stability(),
        SourceType::cameraBack(true), SourceType::facingAngle(), SourceType::facingAngle()});
    EXPECT_EQ(screen.calls(),
        (Texts{"setDeviceMotionUpdateInterval 0.2", "startDeviceMotionUpdates", "setGyroUpdateInterval 0.2",
            "startGyroUpdates", "setDeviceMotionUpdateInterval 0.2"}));
    EXPECT_EQ(screen.told(2s), (Texts{"facing -", "stability +"}));
    screen.detect({});
    EXPECT_EQ(screen.calls(), Texts{}) << "an empty list changes the delegate alone";
    screen.detect({SourceType::mic(), SourceType::cameraBack(false)});
    EXPECT_EQ(screen.calls(), Texts{});
}

TEST(MotionDetection, GivesTheWorkersTheirConfigurationOrTheDefaults)
{
    const auto threshold = [](const Configurations& configurations, double difference) {
        MotionScreen screen;
        screen.detect({SourceType::stability()}, configurations);
        screen.told(200ms);
        return screen.shake(difference).empty(); // within the threshold
    };
    EXPECT_TRUE(threshold({}, 0.3));
    EXPECT_FALSE(threshold({}, 0.3001));
    EXPECT_TRUE(threshold({{"stabilityThreshold", 0.5}}, 0.5));
    EXPECT_FALSE(threshold({{"stabilityThreshold", 0.5}}, 0.5001));
    for (const std::any& wrong : {std::any(1), std::any(1.0F), std::any(std::string("1")), std::any()})
        EXPECT_FALSE(threshold({{"stabilityThreshold", wrong}}, 0.5));

    const auto calls = [](const SourceType& source, const Configurations& configurations) {
        MotionScreen screen;
        screen.detect({source}, configurations);
        return screen.calls().front();
    };
    EXPECT_EQ(calls(SourceType::stability(), {{"stabilityDuration", 2.0}}), "setGyroUpdateInterval 0.5");
    EXPECT_EQ(calls(SourceType::stability(), {{"stabilityDuration", 2}}), "setGyroUpdateInterval 0.2");
    EXPECT_EQ(calls(SourceType::facingAngle(), {{"angle", 90.0}}), "setDeviceMotionUpdateInterval 0.2");

    const auto isFacing = [](const Configurations& configurations, double pitch) {
        MotionScreen screen;
        screen.pitch = pitch;
        screen.detect({SourceType::facingAngle()}, configurations);
        return screen.told(200ms) == Texts{"facing +"};
    };
    EXPECT_TRUE(isFacing({}, 0.7853981633974483));
    EXPECT_FALSE(isFacing({}, 0.7853981633974482));
    EXPECT_TRUE(isFacing({{"angle", 30.0}, {"stabilityThreshold", 9.0}}, 0.53));
    EXPECT_FALSE(isFacing({{"angle", 30.0}}, 0.52));
    EXPECT_FALSE(isFacing({{"angle", std::string("30")}}, 0.53));
}

TEST(MotionDetection, ReplacesTheWorkerOfAKind)
{
    MotionScreen screen;
    screen.detect({SourceType::stability()}, {{"stabilityDuration", 4.0}});
    EXPECT_EQ(screen.calls(), (Texts{"setGyroUpdateInterval 1", "startGyroUpdates"}));
    screen.detect({SourceType::stability()}, {{"stabilityDuration", 2.0}});
    EXPECT_EQ(screen.calls(), (Texts{"stopGyroUpdates", "setGyroUpdateInterval 0.5", "startGyroUpdates"}))
        << "the first leaves before the second comes";
    screen.rate = 1;
    EXPECT_EQ(screen.told(6s), (Texts{"stability +"})) << "of the second alone";
    screen.manager->stopMotionWorkers();
    EXPECT_EQ(screen.calls(), (Texts{"stopGyroUpdates"}));
    screen.manager->stopMotionWorkers();
    EXPECT_EQ(screen.calls(), Texts{});
    screen.detect(both);
    EXPECT_EQ(screen.calls(),
        (Texts{"setDeviceMotionUpdateInterval 0.2", "startDeviceMotionUpdates", "setGyroUpdateInterval 0.2",
            "startGyroUpdates", "setDeviceMotionUpdateInterval 0.2"}))
        << "nobody is unregistered who has left already";
    screen.manager->stopAllSessions();
    EXPECT_EQ(screen.calls(),
        (Texts{"stopGyroUpdates", "setDeviceMotionUpdateInterval 0.2", "stopDeviceMotionUpdates"}))
        << "stability leaves first";
    EXPECT_EQ(screen.told(3s), Texts{});
    screen.detect({SourceType::facingAngle()});
    EXPECT_EQ(screen.told(1s), (Texts{"facing -"})) << "a new worker tells its first verdict again";
}

TEST(MotionDetection, TellsVerdictsToTheMotionDelegateAndFailuresToTheSessionDelegate)
{
    MotionScreen screen;
    const auto session = std::make_shared<RecordingClient>();
    const auto motion = std::make_shared<RecordingClient>();
    const auto start = [&](const SourceType& source) {
        ASSERT_TRUE(screen.manager->startSession(source, session, {}, nullptr).has_value());
        EXPECT_EQ(screen.manager->activeType(), source);
    };
    start(SourceType::facingAngle());
    screen.phone.advance(200ms);
    EXPECT_EQ(session->calls, Texts{}) << "nobody has asked for verdicts";
    screen.manager->setMotionDelegate(motion);
    screen.pitch = 1;
    screen.phone.advance(200ms);
    EXPECT_EQ(motion->calls, (Texts{"facing +"}));
    screen.phone.motion().produce(engine::DeviceMotionReading{.error = broken});
    screen.phone.run();
    EXPECT_EQ(session->calls, (Texts{"error motion broken"}));
    start(SourceType::stability());
    screen.phone.advance(1400ms);
    EXPECT_EQ(motion->calls, (Texts{"facing +", "stability +"}));
    screen.manager->setDelegate({});
    screen.phone.motion().produce(engine::GyroReading{});
    screen.phone.run();
    EXPECT_EQ(session->calls.size(), 1U);
    start(SourceType::nfc());
    screen.phone.motion().produce(engine::GyroReading{});
    screen.phone.run();
    EXPECT_EQ(session->calls, (Texts{"error motion broken", "error motion"}));
    screen.manager->startMotionDetection({}, {}, {});
    EXPECT_EQ(screen.manager->motionDelegate(), nullptr);
    screen.pitch = 0;
    screen.phone.advance(1s);
    EXPECT_EQ(motion->calls.size(), 2U);
}

TEST(MotionDetection, SaysThatAServiceIsMissing)
{
    simulated::PhoneConfiguration configuration;
    configuration.motion.hasGyro = false;
    configuration.motion.hasDeviceMotion = false;
    MotionScreen screen(std::move(configuration));
    ASSERT_TRUE(screen.start(SourceType::stability()).has_value());
    EXPECT_EQ(screen.told(5s), (Texts{"error motion no service"}));
    EXPECT_EQ(screen.calls(), (Texts{"report device error: no gyroscope"}));
    screen.detect({SourceType::facingAngle()});
    EXPECT_EQ(screen.told(5s), (Texts{"error motion no service", "error motion no service"}))
        << "the gyroscope is missed again, then device motion";
}

TEST(MotionDetection, NeedsAMotionSourceAtConstruction)
{
    for (const std::vector<SourceType>& types :
        {std::vector<SourceType>{}, std::vector{SourceType::cameraBack(true), SourceType::mic()}}) {
        MotionScreen screen({}, types);
        screen.detect(both);
        ASSERT_TRUE(screen.start(SourceType::stability()).has_value());
        screen.manager->stopMotionWorkers();
        EXPECT_EQ(screen.told(5s), Texts{});
        EXPECT_EQ(screen.calls(), Texts{});
        EXPECT_EQ(screen.manager->motionDelegate(), screen.client) << "kept all the same";
    }
    for (const std::vector<SourceType>& types : {std::vector{SourceType::facingAngle()}, both}) {
        MotionScreen screen({}, types);
        screen.detect(both);
        EXPECT_EQ(screen.told(2s), (Texts{"facing -", "stability +"})) << "one helper serves both kinds";
    }
}

TEST(MotionDetection, EndsWithTheManagerWithoutAStop)
{
    MotionScreen screen;
    screen.detect(both);
    screen.told(2s);
    screen.phone.journal().clear();
    const std::weak_ptr<OvriSourceManager> manager = screen.manager;
    screen.shake(3);
    screen.client->calls.clear();
    screen.manager.reset();
    EXPECT_TRUE(manager.expired());
    EXPECT_EQ(screen.told(5s), Texts{});
    EXPECT_EQ(screen.calls(), (Texts{"line \"Source Manager deinit\""}));
}

namespace {

/// Starts, stops, samples and the end of the manager in any order.
class RandomMotion {
public:
    explicit RandomMotion(std::uint64_t seed)
        : random_(seed),
          screen_({.seed = seed}, chance(2) ? both : std::vector{SourceType::facingAngle()})
    {
    }

    void run()
    {
        for (int step = 0; step < 40; ++step) {
            operate();
            if (chance(2))
                screen_.phone.run();
            if (chance(3))
                screen_.phone.advance(std::chrono::milliseconds(random_() % 700));
            check();
        }
        const std::weak_ptr<OvriSourceManager> manager = screen_.manager;
        screen_.manager->stopMotionWorkers();
        screen_.phone.run();
        EXPECT_FALSE(isRunning("Gyro"));
        EXPECT_FALSE(isRunning("DeviceMotion"));
        screen_.client->calls.clear();
        screen_.phone.journal().clear();
        screen_.phone.motion().produce(engine::GyroReading{.error = broken});
        EXPECT_EQ(screen_.told(2s), Texts{}) << "nothing after the stop";
        EXPECT_EQ(screen_.calls(), Texts{});
        screen_.manager.reset();
        screen_.phone.advance(2s);
        EXPECT_TRUE(manager.expired());
        EXPECT_TRUE(screen_.phone.isIdle());
    }

private:
    bool chance(unsigned one) { return random_() % one == 0; }

    void operate()
    {
        const auto before = screen_.phone.now();
        switch (random_() % 8) {
        case 0:
            detect({SourceType::stability()}, {{"stabilityDuration", chance(2) ? 0.4 : 1.0}});
            break;
        case 1:
            detect({SourceType::facingAngle()});
            break;
        case 2:
            detect(both);
            break;
        case 3:
            screen_.manager->stopMotionWorkers();
            break;
        case 4:
            screen_.rate += static_cast<double>(random_() % 3);
            screen_.pitch = chance(2) ? 1 : 0;
            break;
        case 5:
            screen_.phone.motion().produce(engine::GyroReading{.error = broken});
            break;
        case 6:
            screen_.phone.motion().produce(engine::DeviceMotionReading{.sample = CMDeviceMotion{}});
            break;
        default:
            ++workers_["stability"];
            (void)screen_.start(SourceType::stability());
            break;
        }
        EXPECT_EQ(screen_.phone.now(), before);
    }

    [[nodiscard]] bool isRunning(const std::string& service)
    {
        const auto count = [&](const std::string& call) {
            return screen_.phone.journal().texts(call + service + "Updates").size();
        };
        EXPECT_LE(count("stop"), count("start"));
        EXPECT_LE(count("start"), count("stop") + 1) << "never started twice";
        return count("start") > count("stop");
    }

    void check()
    {
        (void)isRunning("Gyro");
        (void)isRunning("DeviceMotion");
        for (const char* verdict : {"stability", "facing"})
            EXPECT_LE(repetitions(verdict), workers_[verdict]) << "only a new worker may say the same again";
        EXPECT_LE(std::ranges::count(screen_.client->calls, "error motion broken"),
            std::ssize(screen_.phone.journal().texts("report native error: broken")));
    }

    [[nodiscard]] int repetitions(const std::string& verdict) const
    {
        int count = 0;
        std::string latest;
        for (const std::string& call : screen_.client->calls) {
            if (!call.starts_with(verdict))
                continue;
            count += call == latest ? 1 : 0;
            latest = call;
        }
        return count;
    }

    void detect(const std::vector<SourceType>& sources, const Configurations& configurations = {})
    {
        for (const SourceType& source : sources)
            ++workers_[source == SourceType::stability() ? "stability" : "facing"];
        screen_.detect(sources, configurations);
    }

    std::map<std::string, int> workers_;
    std::mt19937_64 random_;
    MotionScreen screen_;
};

} // namespace

TEST(MotionDetection, HoldsInAnyOrderOfStartsStopsAndSamples)
{
    for (std::uint64_t seed = 1; seed <= 500 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        RandomMotion(seed).run();
    }
}

} // namespace tamsel::tests
