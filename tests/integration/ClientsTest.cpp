#include "support/HostScreen.h"
#include "support/Media.h"

#include <gtest/gtest.h>

#include <latch>
#include <random>
#include <thread>

namespace tamsel::tests {

using namespace std::chrono_literals;
using platform::DropCause;

namespace {

/// A client that does not return from its first frame until it is let go.
class StuckClient final : public OvriSourceToSession {
public:
    void sourceManagerDidGetFrame(OvriSourceManager&, const OvriCaptureFrameUpdate&) override
    {
        if (++frames == 1)
            release.wait();
    }
    void sourceManagerDidGetSourceError(OvriSourceManager&, const SourceError&) override { ++errors; }

    std::latch release{1};
    std::atomic<int> frames = 0;
    std::atomic<int> errors = 0;
};

} // namespace

TEST(Clients, ThatNeverReturnCostTheirOwnFramesOnly)
{
    HostScreen screen(host::HostConfiguration{.backCamera = host::HostInput{.input = "test:64x48@200"},
        .frontCamera = host::HostInput{.input = "test:32x24@200"},
        .bufferCount = 4});
    const auto stuck = std::make_shared<StuckClient>();
    const auto stuckManager = OvriSourceManager::create({}, CameraConfiguration::SessionPreset::photo,
        screen.host.makeQueue("stuck"), screen.host.platform());
    ASSERT_TRUE(stuckManager->startSession(SourceType::cameraFront(false), stuck, {}, nullptr).has_value());
    ASSERT_TRUE(screen.start());
    const auto noBuffer = [&] {
        return stuckManager->frameCounts().droppedBy[static_cast<std::size_t>(DropCause::noBuffer)];
    };
    ASSERT_TRUE(screen.runUntil([&] { return noBuffer() >= 20; }));
    // Its device goes on, and so does everybody else.
    const int before = screen.client->count;
    ASSERT_TRUE(screen.runUntil([&] { return screen.client->count >= before + 20; }));
    EXPECT_EQ(stuck->frames, 1);
    const platform::FrameCounts held = stuckManager->frameCounts();
    EXPECT_EQ(held.delivered, 1U);
    EXPECT_LE(held.inFlight, 4U + 1U) << "no more than there are buffers, and one drop on its way";

    stuck->release.count_down();
    stuckManager->stopCameraSession();
    ASSERT_TRUE(screen.runUntil([&] { return stuckManager->frameCounts().inFlight == 0; }));
    const platform::FrameCounts counts = stuckManager->frameCounts();
    ASSERT_TRUE(screen.runUntil([&] {
        return static_cast<std::uint64_t>(stuck->errors) == counts.dropped();
    })) << "each drop is told, once";
    EXPECT_EQ(counts.delivered, static_cast<std::uint64_t>(stuck->frames));
    EXPECT_EQ(counts.produced, counts.delivered + counts.dropped() + counts.gated);
}

TEST(Clients, MayCallAnythingAtAnyTime)
{
    HostScreen screen(sample());
    std::mt19937 random(7);
    for (int number = 0; number < 60; ++number) {
        switch (random() % 5) {
        case 0:
            screen.manager = OvriSourceManager::create({}, CameraConfiguration::SessionPreset::none,
                screen.host.makeQueue("response"), screen.host.platform());
            break;
        case 1:
            screen.manager->stopCameraSession();
            break;
        case 2:
            screen.manager->pauseCamera();
            break;
        case 3:
            screen.manager->resumeCamera();
            break;
        default:
            EXPECT_TRUE(screen.start());
        }
        screen.host.runOnce(std::chrono::milliseconds(random() % 20));
    }
}

TEST(Clients, MayLeaveTheHostInTheMiddleOfEverything)
{
    std::mt19937 random(11);
    const std::array<std::string, 2> inputs{sample(), "test:64x48@200"};
    for (int number = 0; number < 25; ++number) {
        HostScreen screen(inputs.at(static_cast<std::size_t>(number % 2)));
        ASSERT_TRUE(screen.start());
        const int wanted = static_cast<int>(random() % 4);
        ASSERT_TRUE(screen.runUntil([&] { return screen.client->count >= wanted; }));
        if (random() % 2 == 0)
            screen.manager->stopCameraSession();
        const std::weak_ptr<OvriSourceManager> manager = screen.manager;
        screen.manager.reset();
        screen.host.runOnce(0ns);
    }
}

TEST(Clients, MayLeaveTheHostWhileTheirCameraIsSetUp)
{
    std::mt19937 random(12);
    for (int number = 0; number < 60; ++number) {
        HostScreen screen("test:64x48@200");
        screen.manager->setMetadataDetection({MetadataObjectType::qr}, {});
        ASSERT_TRUE(screen.start());
        for (unsigned turns = random() % 4; turns > 0; --turns)
            screen.host.runOnce(1ms);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));
    }
}

} // namespace tamsel::tests
