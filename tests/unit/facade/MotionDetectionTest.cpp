#include "support/CaptureScreen.h"

#include <gtest/gtest.h>

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

} // namespace

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
    screen.detect({SourceType::stability(), SourceType::mic(), SourceType::stability(),
        SourceType::cameraBack(true), SourceType::facingAngle(), SourceType::facingAngle()});
    EXPECT_EQ(screen.calls(),
        (Texts{"setDeviceMotionUpdateInterval 0.2", "startDeviceMotionUpdates", "setGyroUpdateInterval 0.2",
            "startGyroUpdates", "setDeviceMotionUpdateInterval 0.2"}))
        << "facing angle first, each once, and nobody is unregistered who has left already";
    screen.detect({});
    EXPECT_EQ(screen.calls(), Texts{}) << "an empty list changes the delegate alone";
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

    screen.phone.journal().clear();
    screen.phone.motion().produce(engine::GyroReading{.error = broken});
    screen.phone.runUntil([&] { return !screen.phone.journal().texts("report").empty(); });
    screen.manager.reset();
    screen.phone.run();
    EXPECT_EQ(session->calls.size(), 2U) << "what is under way ends with the manager";
}

TEST(MotionDetection, NeedsAMotionSourceAtConstruction)
{
    for (const std::vector<SourceType>& types :
        {std::vector<SourceType>{}, std::vector{SourceType::cameraBack(true), SourceType::mic()}}) {
        MotionScreen screen({}, types);
        screen.detect({SourceType::stability(), SourceType::facingAngle()});
        ASSERT_TRUE(screen.start(SourceType::stability()).has_value());
        screen.manager->stopMotionWorkers();
        EXPECT_EQ(screen.told(5s), Texts{});
        EXPECT_EQ(screen.calls(), Texts{});
        EXPECT_EQ(screen.manager->motionDelegate(), screen.client) << "kept all the same";
    }
}

} // namespace tamsel::tests
