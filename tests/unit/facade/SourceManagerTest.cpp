#include "support/CaptureScreen.h"

#include <tamsel/camera/IosCamera.h>

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

TEST(SourceManager, AddsOnePreviewLayerForACameraWhoseLayerStillStands)
{
    CaptureScreen screen;
    const auto camera = IosCamera::create(
        {CameraConfiguration::Position::back, CameraConfiguration::SessionPreset::photo, false},
        screen.phone.platform());
    const auto layer = std::make_shared<CALayer>();
    camera->setPreferredVideoGravity(AVLayerVideoGravity::resizeAspectFill);
    camera->addPreviewLayer(layer);
    camera->addPreviewLayer(layer);
    ASSERT_EQ(layer->sublayers().size(), 1U);
    EXPECT_EQ(
        std::dynamic_pointer_cast<AVCaptureVideoPreviewLayer>(layer->sublayers().front())->videoGravity(),
        AVLayerVideoGravity::resizeAspectFill);
    const auto other = std::make_shared<CALayer>();
    camera->addPreviewLayer(other); // nothing in this one yet
    EXPECT_EQ(other->sublayers().size(), 1U);
    layer->removeSublayer(layer->sublayers().front());
    camera->addPreviewLayer(layer);
    EXPECT_EQ(layer->sublayers().size(), 1U);
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

TEST(SourceManager, KeepsACameraThatWasNotRunningWhenItWasStopped)
{
    CaptureScreen screen;
    screen.startAndRun();
    screen.manager->pauseCamera();
    screen.phone.run();
    screen.manager->stopCameraSession();
    screen.phone.run();
    EXPECT_EQ(screen.phone.journal().texts("remove"), Texts{});
    screen.manager->resumeCamera();
    screen.phone.run();
    EXPECT_TRUE(screen.back().isStarted());
}

TEST(SourceManager, TakesTheDeviceOverWhenASecondCameraStarts)
{
    for (const bool isRunning : {true, false}) {
        CaptureScreen screen;
        screen.back().script().timeToStart = isRunning ? 0ms : 100ms;
        screen.startAndRun();
        screen.phone.advance(isRunning ? 1ms : 50ms); // or in the middle of its start
        screen.phone.journal().clear();
        screen.startAndRun();
        screen.phone.advance(1s);
        EXPECT_EQ(screen.phone.journal().texts("stopRunning"), Texts{})
            << "the first is released, not stopped";
        screen.frame();
        screen.frame();
        EXPECT_EQ(screen.client->calls, (Texts{"frame", "frame"}));
        EXPECT_EQ(screen.manager->frameCounts().produced, 2U) << "counted by the second session alone";
    }
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
