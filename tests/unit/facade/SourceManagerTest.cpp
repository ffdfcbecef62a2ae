#include "support/CaptureScreen.h"

#include <gtest/gtest.h>

namespace tamsel::tests {

using namespace platform;

TEST(SourceManager, RefusesACameraWithoutPermissionAndKeepsWhatItHad)
{
    using enum AVAuthorizationStatus;
    for (const auto& [status, error] : {std::pair{denied, CameraError::noPermission()},
             {notDetermined, CameraError::noPermission()}, {restricted, CameraError::cameraRestricted()}}) {
        CaptureScreen screen;
        screen.startAndRun();
        screen.phone.journal().clear();
        screen.phone.setAuthorization(AVMediaType::video, status);
        const auto second = std::make_shared<RecordingClient>();
        const auto started
            = screen.manager->startSession(SourceType::cameraFront(true), second, {}, screen.view);
        ASSERT_FALSE(started.has_value());
        EXPECT_EQ(started.error(), error);
        EXPECT_EQ(started.error().reason(), std::nullopt);
        EXPECT_EQ(screen.phone.journal().texts(),
            (Texts{"authorizationStatus video", "report device error: no permission for the camera"}));
        EXPECT_EQ(screen.manager->activeType(), SourceType::cameraFront(true));
        EXPECT_EQ(screen.manager->delegate(), second);
        screen.phone.run();
        screen.frame();
        EXPECT_EQ(second->calls, Texts{"frame"}) << "the earlier camera goes on";
    }
}

TEST(SourceManager, StartsNothingForSourcesThatHaveNothingToStart)
{
    CaptureScreen screen;
    for (const SourceType& type : {SourceType::mic(), SourceType::nfc(), SourceType::undefined()}) {
        EXPECT_EQ(screen.manager->activeType() == type, false);
        ASSERT_TRUE(screen.start(type).has_value());
        EXPECT_EQ(screen.manager->activeType(), type);
        EXPECT_EQ(screen.manager->delegate(), screen.client);
    }
    ASSERT_TRUE(screen.manager->startSession(SourceType::mic(), {}, {}, nullptr).has_value());
    EXPECT_EQ(screen.manager->delegate(), nullptr);
    EXPECT_TRUE(screen.phone.isIdle());
    EXPECT_EQ(screen.phone.journal().texts(), Texts{});
}

TEST(SourceManager, ShowsThePreviewInTheViewOnTheMainQueue)
{
    CaptureScreen screen;
    ASSERT_TRUE(screen.start().has_value());
    EXPECT_EQ(screen.previewLayer(), nullptr);
    screen.phone.run();
    const auto preview = screen.previewLayer();
    ASSERT_NE(preview, nullptr);
    EXPECT_EQ(preview->name(), "CameraPreview");
    EXPECT_EQ(preview->videoGravity(), AVLayerVideoGravity::resizeAspect);
    EXPECT_EQ(preview->frame(), (CGRect{{0, 0}, {300, 400}}));
    EXPECT_NE(preview->connection(), nullptr);

    // Another layer in front does not matter; the preview of a camera that has gone is not taken for the new one's.
    screen.view->layer()->addSublayer(std::make_shared<CALayer>());
    screen.startAndRun();
    EXPECT_EQ(screen.view->layer()->sublayers().size(), 3U);
    EXPECT_EQ(preview->connection(), nullptr) << "its session has gone";

    screen.phone.run();
    screen.view.reset();
    screen.manager.reset();
    screen.phone.run();
}

TEST(SourceManager, StopsTearsDownAndDropsTheCamera)
{
    for (const bool all : {false, true}) {
        CaptureScreen screen;
        screen.startAndRun();
        screen.back().script().timeToStop = 50ms;
        screen.phone.journal().clear();
        all ? screen.manager->stopAllSessions() : screen.manager->stopCameraSession();
        screen.manager->resumeCamera(); // still held: asks for frames again, the stop is under way
        screen.phone.advance(100ms);
        EXPECT_EQ(screen.phone.journal().texts("stopRunning").size(), 1U);
        EXPECT_EQ(screen.phone.journal().texts("remove"), Texts{"removeInput video"});
        EXPECT_FALSE(screen.back().isOpen());
        screen.phone.journal().clear();
        screen.manager->resumeCamera();
        screen.manager->pauseCamera();
        screen.manager->stopCameraSession();
        screen.phone.run();
        EXPECT_EQ(screen.phone.journal().texts(), Texts{}) << "the camera has gone";
        EXPECT_EQ(screen.client->calls, Texts{});
    }
}

TEST(SourceManager, LosesNoCameraThatIsStartedOnceTheLastOneHasStopped)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        CaptureScreen screen({.seed = seed});
        for (auto* camera : {&screen.back(), &screen.front()})
            camera->script().timeToStop = 5ms;
        int told = 0;
        for (int round = 0; round < 4; ++round) {
            const bool isFront = round % 2 != 0;
            // In the first round none is held, in each of the others one runs.
            screen.manager->stopCameraSession();
            screen.manager->whenCameraStopped([&] {
                EXPECT_TRUE(screen.responseQueue->isCurrent());
                EXPECT_FALSE(screen.manager->canCaptureStillImage()) << "none is held";
                (void)screen.start(isFront ? SourceType::cameraFront(false) : SourceType::cameraBack(false));
                ++told;
            });
            screen.phone.advance(1s);
            ASSERT_EQ(told, round + 1);
            ASSERT_TRUE((isFront ? screen.front() : screen.back()).isStarted()) << "round " << round;
        }
    }
}

TEST(SourceManager, KeepsACameraThatIsStoppedBeforeItRuns)
{
    CaptureScreen screen;
    int told = 0;
    ASSERT_TRUE(screen.start().has_value());
    screen.manager->stopCameraSession();
    screen.manager->whenCameraStopped([&told] { ++told; });
    screen.phone.run();
    EXPECT_TRUE(screen.back().isStarted());
    EXPECT_EQ(told, 0);
    screen.manager->stopCameraSession();
    screen.phone.run();
    EXPECT_EQ(told, 1);
}

TEST(SourceManager, TellsTheClientOfTheBackgroundAfterTheSessionHasStopped)
{
    CaptureScreen screen;
    screen.startAndRun();
    screen.back().script().timeToStop = 20ms;
    screen.back().script().timeToStart = 30ms;
    screen.phone.enterBackground();
    screen.phone.advance(19ms);
    EXPECT_EQ(screen.client->calls, Texts{});
    screen.phone.advance(1ms);
    EXPECT_EQ(screen.client->calls, Texts{"suspend"});
    screen.phone.enterForeground();
    screen.phone.advance(29ms);
    EXPECT_EQ(screen.client->calls, Texts{"suspend"});
    screen.phone.advance(1ms);
    EXPECT_EQ(screen.client->calls, (Texts{"suspend", "resume"}));
    screen.frame();
    EXPECT_EQ(screen.client->calls.back(), "frame");
}

} // namespace tamsel::tests
