#include "support/HostScreen.h"
#include "support/Media.h"

#include <formats/MotionLog.h>
#include <host/location/HostLocationSource.h>

#include <tamsel/client/SourceCallbacks.h>
#include <tamsel/platform/AssetServices.h>
#include <tamsel/platform/DiagnosticLines.h>

#include <gtest/gtest.h>

#include <array>
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

/// A client that tries again as soon as it hears of a lost device.
class StubbornClient final : public OvriSourceToSession {
public:
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError&) override
    {
        ++losses;
        manager.resumeCamera();
    }

    std::atomic<int> losses = 0;
};

} // namespace

TEST(Clients, MayResumeWhenTheyHearOfALostDevice)
{
    HostScreen screen("lavfi:testsrc2=s=64x48:r=100:d=0.02");
    const auto client = std::make_shared<StubbornClient>();
    ASSERT_TRUE(screen.manager->startSession(SourceType::cameraBack(false), client, {}, nullptr).has_value());
    EXPECT_TRUE(screen.runUntil([&] { return client->losses >= 40; }));
    screen.manager->stopCameraSession();
}

TEST(Clients, MayWriteALineWhileALineIsWritten)
{
    std::vector<std::string> lines;
    host::Host* host = nullptr;
    host::Host made({.writeLine = [&](std::string_view line) {
        lines.emplace_back(line);
        if (lines.size() == 1)
            host->platform().diagnostics.writeLine("inner");
        lines.emplace_back("end");
    }});
    host = &made;
    made.platform().diagnostics.writeLine("outer");
    EXPECT_EQ(lines, (std::vector<std::string>{"outer", "end", "inner", "end"}));
}

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

TEST(Clients, FindCodesAtTheSameTimeAndThroughNewStarts)
{
    const host::HostInput sheet{.input = testData("codes/sheet.png")};
    HostScreen screen(host::HostConfiguration{.backCamera = sheet, .frontCamera = sheet});
    const auto queue = screen.host.makeQueue("response");
    const auto makeManager = [&] {
        return OvriSourceManager::create(
            {}, CameraConfiguration::SessionPreset::photo, queue, screen.host.platform());
    };
    const std::array managers{makeManager(), makeManager()};
    for (int start = 0; start < 3; ++start) {
        const auto batches = std::make_shared<std::array<std::atomic<int>, 2>>();
        std::vector<std::shared_ptr<CallbackDelegate>> delegates;
        for (std::size_t side = 0; side < 2; ++side) {
            delegates.push_back(makeDelegate(
                {.didDetectCodes = [batches, queue, side](OvriSourceManager&,
                                       const std::vector<OvriMetadataMachineReadableCodeObject>& codes) {
                    EXPECT_TRUE(queue->isCurrent());
                    ASSERT_EQ(codes.size(), 1U);
                    EXPECT_EQ(codes.front().value(), "Größe \"8½\" \\ 日本");
                    ++batches->at(side);
                }}));
            managers.at(side)->setMetadataDetection({MetadataObjectType::qr}, delegates.back());
            const SourceType type
                = side == 0 ? SourceType::cameraBack(false) : SourceType::cameraFront(false);
            ASSERT_TRUE(managers.at(side)->startSession(type, screen.client, {}, nullptr).has_value());
        }
        EXPECT_TRUE(screen.runUntil([&] { return batches->front() >= 10 && batches->back() >= 10; }));
    }
}

TEST(Clients, MayLeaveTheHostInTheMiddleOfEverything)
{
    const ScratchFolder folder;
    const std::string film = sample();
    const std::string motion = testData("motion/generated_held_moved_held_tilted.csv");
    host::HostConfiguration configuration{.microphone = "test:tone",
        .motionLog = formats::MotionLog::read(motion).value(),
        .location = host::parseLocation("48.1,11.6").value()};
    std::mt19937 random(11);
    for (int number = 0; number < 50; ++number) {
        configuration.backCamera = {.input = number % 2 == 0 ? film : "test:64x48@200"};
        HostScreen screen(configuration);
        const auto mayBe = [&random] { return random() % 2 == 0; };
        screen.manager = OvriSourceManager::create({SourceType::stability(), SourceType::facingAngle()},
            CameraConfiguration::SessionPreset::photo, screen.host.makeQueue("response"),
            screen.host.platform());
        if (mayBe())
            screen.manager->setMetadataDetection({MetadataObjectType::qr, MetadataObjectType::pdf417}, {});
        ASSERT_TRUE(screen.start(SourceType::cameraBack(mayBe())));
        if (mayBe())
            screen.manager->startMotionDetection(
                {SourceType::stability(), SourceType::facingAngle()}, {}, {{"stabilityDuration", 0.0}});
        const int wanted = static_cast<int>(random() % 4);
        ASSERT_TRUE(screen.runUntil([&] { return screen.client->count >= wanted; }));
        if (mayBe())
            screen.manager->startVideoRecording(folder.file("film.mp4"));
        if (mayBe())
            screen.manager->captureStillImage(platform::OvriImageSource::photo, std::nullopt);
        if (mayBe())
            screen.host.runOnce(1ms);
        if (mayBe()) {
            ASSERT_TRUE(screen.start(SourceType::asset(screen.host.platform().assets.assetWithURL(film))));
        }
        if (mayBe())
            screen.manager->stopCameraSession();
        if (mayBe())
            screen.manager.reset();
        screen.host.runOnce(0ns);
    }
}

} // namespace tamsel::tests
