#include "support/CaptureScreen.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tamsel::tests {

using namespace platform;

namespace {

void expectClosed(const FrameCounts& counts)
{
    EXPECT_EQ(counts.produced, counts.delivered + counts.dropped() + counts.gated + counts.inFlight);
}

std::uint64_t droppedBy(const FrameCounts& counts, DropCause cause)
{
    return counts.droppedBy.at(static_cast<std::size_t>(cause));
}

constexpr const char* frameReport = "report flow error: Video frame error (AVCaptureSession)";

} // namespace

TEST(FrameDelivery, BringsEveryFrameInOrderOnTheResponseQueueWithoutACopy)
{
    CaptureScreen screen;
    screen.client->onFrame = [&] { EXPECT_TRUE(screen.responseQueue->isCurrent()); };
    screen.startAndRun();
    std::vector<const CVBuffer*> seen;
    for (int number = 0; number < 5; ++number) {
        screen.phone.advance(10ms);
        screen.frame();
    }
    ASSERT_EQ(screen.client->frames.size(), 5U);
    for (std::size_t index = 0; index < 5; ++index) {
        const OvriCaptureFrameUpdate& frame = screen.client->frames[index];
        const FrameTiming timing = frame.imageBuffer()->timing().value();
        EXPECT_EQ(timing.sequence, index);
        EXPECT_EQ(timing.captureTime, (index + 1) * 10ms);
        EXPECT_DOUBLE_EQ(timing.mediaTime.seconds(), 0.01 * static_cast<double>(index + 1));
        EXPECT_EQ(frame.imageBuffer()->pixel(7, 5)[0], std::byte{7});
        EXPECT_EQ(frame.imageBuffer()->pixel(7, 5)[1], std::byte{5});
        EXPECT_EQ(frame.imageBuffer()->pixel(7, 5)[2], static_cast<std::byte>(index));
        EXPECT_EQ(frame.preferredTransform(), std::nullopt);
        EXPECT_EQ(frame.cameraIntrinsicData(), nullptr);
    }
    const FrameCounts counts = screen.manager->frameCounts();
    EXPECT_EQ(counts.delivered, 5U);
    EXPECT_EQ(counts.produced, 5U);
    expectClosed(counts);

    const CVBuffer* first = screen.client->frames.front().imageBuffer().get();
    screen.client->frames.clear();
    for (int number = 0; number < 10; ++number) {
        screen.frame();
        seen.push_back(screen.client->frames.back().imageBuffer().get());
    }
    EXPECT_NE(std::ranges::find(seen, first), seen.end()) << "buffers come back and are used again";
}

TEST(FrameDelivery, ReadsTheDeviceOrientationWhenTheFrameIsDelivered)
{
    using enum CGImagePropertyOrientation;
    CaptureScreen screen;
    screen.startAndRun();
    for (const auto& [held, expected] :
        {std::pair{UIDeviceOrientation::unknown, leftMirrored}, {UIDeviceOrientation::portrait, leftMirrored},
            {UIDeviceOrientation::portraitUpsideDown, rightMirrored},
            {UIDeviceOrientation::landscapeLeft, downMirrored},
            {UIDeviceOrientation::landscapeRight, upMirrored}, {UIDeviceOrientation::faceUp, leftMirrored},
            {UIDeviceOrientation::faceDown, leftMirrored}}) {
        screen.phone.setDeviceOrientation(UIDeviceOrientation::landscapeLeft);
        screen.back().produceFrame();
        screen.phone.setDeviceOrientation(held);
        screen.phone.run();
        EXPECT_EQ(screen.client->frames.back().exifOrientation(), expected);
        screen.client->frames.clear();
    }
}

TEST(FrameDelivery, TellsEachDropOnceAndReportsIt)
{
    CaptureScreen screen;
    screen.startAndRun();
    screen.back().dropFrame();
    screen.phone.run();
    EXPECT_EQ(screen.client->calls, Texts{"error videoFrameError"});
    EXPECT_EQ(screen.phone.journal().texts("report"), Texts{frameReport});
    EXPECT_EQ(droppedBy(screen.manager->frameCounts(), DropCause::late), 1U);

    // Two frames before the video queue runs: one waits, the other finds no place.
    screen.back().produceFrame();
    screen.back().produceFrame();
    screen.phone.run();
    EXPECT_EQ(screen.client->frames.size(), 1U);
    EXPECT_EQ(screen.phone.journal().texts("report"), (Texts{frameReport, frameReport}));
    EXPECT_EQ(droppedBy(screen.manager->frameCounts(), DropCause::late), 2U);
    expectClosed(screen.manager->frameCounts());
}

TEST(FrameDelivery, DeliversWhatIsPastTheVideoQueueAndLooksTheClientUpAtTheEnd)
{
    CaptureScreen screen;
    screen.startAndRun();
    const auto second = std::make_shared<RecordingClient>();
    screen.back().produceFrame();
    screen.manager->setDelegate(second);
    screen.phone.run();
    EXPECT_EQ(second->calls, Texts{"frame"});
    EXPECT_EQ(screen.client->calls, Texts{});

    screen.back().produceFrame();
    screen.manager->setDelegate({});
    screen.phone.run();
    EXPECT_EQ(droppedBy(screen.manager->frameCounts(), DropCause::noReceiver), 1U);
    expectClosed(screen.manager->frameCounts());
}

TEST(FrameDelivery, TurnsPixelsAndMatrixToTheInterfaceOrientation)
{
    simulated::PhoneConfiguration configuration;
    configuration.cameras[0].intrinsicMatrix
        = std::make_shared<CameraIntrinsicMatrix>(CameraIntrinsicMatrix{{100, 0, 10, 0, 200, 20, 0, 0, 1}});
    const std::size_t width = configuration.cameras[0].width;
    const std::size_t height = configuration.cameras[0].height;
    CaptureScreen screen(configuration);
    screen.startAndRun();
    struct Case {
        UIInterfaceOrientation interface;
        bool isOnItsSide;
        std::size_t column, row; // as stored, of what is shown at the top left
    };
    for (const Case& one : {Case{UIInterfaceOrientation::landscapeLeft, true, 0, height - 1},
             {UIInterfaceOrientation::portraitUpsideDown, false, width - 1, height - 1},
             {UIInterfaceOrientation::landscapeRight, true, width - 1, 0},
             {UIInterfaceOrientation::portrait, false, 0, 0}}) {
        screen.phone.setInterfaceOrientation(one.interface);
        screen.phone.run();
        screen.frame();
        const CVBuffer& shown = *screen.client->frames.back().imageBuffer();
        EXPECT_EQ(shown.width(), one.isOnItsSide ? height : width);
        EXPECT_EQ(std::to_integer<std::size_t>(shown.pixel(0, 0)[0]), one.column);
        EXPECT_EQ(std::to_integer<std::size_t>(shown.pixel(0, 0)[1]), one.row);
    }
    EXPECT_EQ(screen.client->frames.front().cameraIntrinsicData()->rows,
        (std::array<float, 9>{200, 0, static_cast<float>(height) - 1 - 20, 0, 100, 10, 0, 0, 1}));
    EXPECT_EQ(screen.client->frames.back().cameraIntrinsicData(), configuration.cameras[0].intrinsicMatrix);
    expectClosed(screen.manager->frameCounts());
}

TEST(FrameDelivery, TellsOneDropWhenADeviceCannotBeStarted)
{
    CaptureScreen screen;
    screen.phone.delay(engine::CaptureCall::commitConfiguration, 10ms);
    ASSERT_TRUE(screen.start().has_value());
    screen.phone.advance(5ms);
    screen.back().unplug(); // after it was opened, before it is started
    screen.phone.advance(1s);
    EXPECT_EQ(screen.client->calls, Texts{"error videoFrameError"});
}

TEST(FrameDelivery, TellsALossThatCameBeforeTheDelegate)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        CaptureScreen screen({.seed = seed});
        screen.phone.delay(engine::CaptureCall::setSampleBufferDelegate, 50ms);
        ASSERT_TRUE(screen.start().has_value());
        ASSERT_TRUE(screen.phone.runUntil([&] { return screen.back().isStarted(); }));
        screen.back().unplug();
        screen.phone.advance(1s);
        EXPECT_EQ(screen.client->calls, Texts{"error videoFrameError"});
        EXPECT_EQ(screen.manager->frameCounts().inFlight, 0U);
    }
}

} // namespace tamsel::tests
