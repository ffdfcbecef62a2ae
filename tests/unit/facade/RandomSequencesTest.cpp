#include "support/CaptureScreen.h"

#include <gtest/gtest.h>

#include <random>

namespace tamsel::tests {

using namespace platform;

namespace {

/// Operations, devices and the application in any order, with devices that take their time; at the end nothing may be
/// left over.
class RandomScreen {
public:
    explicit RandomScreen(std::uint64_t seed) : random_(seed), screen_(configuration(seed))
    {
        makeManager();
        screen_.client->onFrame = [this] {
            screen_.client->frames.clear();
            if (chance(20))
                operate();
        };
        screen_.client->onDetection = [this] {
            if (chance(20))
                operate();
        };
        screen_.phone.detector().script().scene = [this](std::uint64_t) {
            return chance(4) ? AVMetadataObjects{}
                             : AVMetadataObjects{std::make_shared<AVMetadataFaceObject>(CGRect{}, 1)};
        };
    }

    void run(int steps)
    {
        for (int step = 0; step < steps; ++step) {
            operate();
            if (chance(2))
                screen_.phone.run();
            if (chance(2))
                screen_.phone.advance(std::chrono::milliseconds(random_() % 400));
        }
    }

    /// Outlives the phone only if something keeps it that should not.
    [[nodiscard]] std::weak_ptr<OvriSourceManager> manager() const { return screen_.manager; }

    void expectNothingLeft()
    {
        const std::weak_ptr<OvriSourceManager> manager = screen_.manager;
        const std::weak_ptr<RecordingClient> client = screen_.client;
        screen_.manager.reset();
        screen_.client->onFrame = {};
        screen_.client->onDetection = {};
        screen_.client.reset();
        screen_.phone.enterForeground();
        screen_.phone.advance(20s);
        EXPECT_TRUE(screen_.phone.isIdle());
        EXPECT_TRUE(manager.expired());
        EXPECT_TRUE(client.expired());
        EXPECT_FALSE(screen_.back().isOpen());
        EXPECT_FALSE(screen_.front().isOpen());
        EXPECT_FALSE(screen_.back().isStarted());
        EXPECT_FALSE(screen_.front().isStarted());
    }

private:
    simulated::PhoneConfiguration configuration(std::uint64_t seed)
    {
        simulated::PhoneConfiguration configuration{
            .seed = seed, .microphone = simulated::MicrophoneScript{}, .bufferCount = 3};
        for (simulated::CameraScript& camera : configuration.cameras) {
            camera.width = 8;
            camera.height = 6;
            camera.frameInterval = 33ms;
            for (auto* time : {&camera.timeToOpen, &camera.timeToStart, &camera.timeToStop})
                *time = std::chrono::milliseconds(random_() % 501);
        }
        configuration.detector.timeToDetect = std::chrono::milliseconds(random_() % 100);
        return configuration;
    }

    void makeManager()
    {
        screen_.manager = OvriSourceManager::create({SourceType::stability()},
            chance(2) ? CameraConfiguration::SessionPreset::photo : CameraConfiguration::SessionPreset::none,
            screen_.responseQueue, screen_.phone.platform());
    }

    bool chance(unsigned one) { return random_() % one == 0; }

    void operate()
    {
        if (!screen_.manager)
            return;
        OvriSourceManager& manager = *screen_.manager;
        simulated::Phone& phone = screen_.phone;
        simulated::SimulatedCamera& camera = chance(2) ? screen_.back() : screen_.front();
        const auto start = [&] {
            (void)screen_.start(
                chance(2) ? SourceType::cameraBack(chance(2)) : SourceType::cameraFront(chance(2)),
                {{"minimumFocusObjectSize", 20.0}});
        };
        const std::vector<std::function<void()>> operations{start, start, start,
            [&] { manager.stopCameraSession(); }, [&] { manager.stopAllSessions(); },
            [&] { manager.pauseCamera(); }, [&] { manager.resumeCamera(); }, [&] { phone.enterBackground(); },
            [&] { phone.enterForeground(); }, [&] { camera.isStarted() ? camera.unplug() : camera.plugIn(); },
            [&] { camera.script().isHeldByAnotherProcess = chance(3); },
            [&] { phone.setInterfaceOrientation(static_cast<UIInterfaceOrientation>(random_() % 5)); },
            [&] { phone.refuse(static_cast<engine::CaptureCall>(random_() % 15), 1); },
            [&] { manager.setFaceMetadataDetection(screen_.client); },
            [&] {
                manager.whenCameraStopped([this] {
                    if (chance(2))
                        operate();
                });
            },
            [&] {
                manager.startMotionDetection({SourceType::stability(), SourceType::facingAngle()},
                    screen_.client, {{"stabilityDuration", chance(2) ? 0.4 : 1.0}});
            },
            [&] {
                if (chance(5))
                    makeManager();
            }};
        const auto before = phone.now();
        operations[random_() % operations.size()]();
        EXPECT_EQ(phone.now(), before) << "no public operation takes time";
        const FrameCounts counts = screen_.manager->frameCounts();
        EXPECT_EQ(counts.produced, counts.delivered + counts.dropped() + counts.gated + counts.inFlight);
    }

    std::mt19937_64 random_;
    CaptureScreen screen_;
};

} // namespace

TEST(RandomSequences, LeaveNothingBehind)
{
    for (std::uint64_t seed = 1; seed <= 500 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        RandomScreen random(seed);
        random.run(30);
        random.expectNothingLeft();
    }
}

TEST(RandomSequences, MayEndWithThePhoneInTheMiddle)
{
    for (std::uint64_t seed = 1000; seed <= 1200 && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::weak_ptr<OvriSourceManager> manager;
        {
            RandomScreen random(seed);
            random.run(12);
            manager = random.manager();
        }
        EXPECT_TRUE(manager.expired());
    }
}

} // namespace tamsel::tests
