#include "support/CaptureScreen.h"

#include <simulated/explore.h>

#include <tamsel/client/LiveCamera.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace tamsel::tests {

using namespace platform;
using State = LiveCamera::State;

namespace {

/// A screen of whose frames the client keeps none.
struct LiveScreen : CaptureScreen {
    LiveScreen()
    {
        for (simulated::SimulatedCamera* side : {&back(), &front()})
            side->script().frameInterval = 33ms;
        client->onFrame = [this] { client->frames.clear(); };
    }

    [[nodiscard]] State stateAfter(std::chrono::nanoseconds time)
    {
        phone.advance(time);
        return camera.state();
    }
    [[nodiscard]] std::size_t attempts() { return phone.journal().texts("authorizationStatus video").size(); }

    LiveCamera camera{manager, client, responseQueue, phone.platform(), [] { }};
};

/// A person switches four times, leaves and returns.
std::optional<std::string> switchSides(simulated::Phone& phone)
{
    const auto queue = phone.platform().dispatch.mainQueue();
    const auto manager
        = OvriSourceManager::create({}, CameraConfiguration::SessionPreset::photo, queue, phone.platform());
    LiveCamera* live = nullptr;
    int frames = 0;
    bool runsTooEarly = false;
    const auto client = makeDelegate({.didGetFrame = [&](auto&, auto&) {
        ++frames;
        const bool isLate = !manager->isCameraActive() || manager->frameCounts().delivered == 0;
        runsTooEarly = runsTooEarly || (live->state() == State::running && isLate);
    }});
    LiveCamera camera(manager, client, queue, phone.platform(), [] { });
    live = &camera;
    int switches = 0;
    const auto switchSide = [&] { switches += camera.switchSide() ? 1 : 0; };
    camera.start(SourceType::cameraBack(false));
    phone.at(0ms, "switch early", switchSide); // before the main thread has carried out the start, or after
    phone.at(99ms, "switch", switchSide); // with a frame
    phone.at(100ms, "switch back", switchSide);
    phone.at(133ms, "switch again", switchSide);
    phone.at(134ms, "leave", [&] { phone.enterBackground(); });
    phone.at(150ms, "return", [&] { phone.enterForeground(); });
    phone.advance(3s);
    const int before = frames;
    phone.advance(1s);
    if (runsTooEarly)
        return "it runs with a frame of the camera before";
    if (phone.camera(AVCaptureDevicePosition::front).isOpen())
        return "both are open";
    const bool isLive = phone.camera(AVCaptureDevicePosition::back).isStarted() && frames - before > 28;
    return switches == 4 && camera.state() == State::running && isLive
        ? std::nullopt
        : std::optional<std::string>("no frames");
}

} // namespace

TEST(LiveCamera, StartsAMissingOrLostCameraAgainUntilItIsThere)
{
    LiveScreen screen;
    screen.back().script().isPresent = false;
    EXPECT_EQ(screen.camera.state(), State::starting);
    screen.camera.start(SourceType::cameraBack(true));
    EXPECT_EQ(screen.stateAfter(500ms), State::missing);
    screen.camera.start(SourceType::cameraBack(true));
    EXPECT_EQ(screen.stateAfter(499ms), State::missing);
    EXPECT_EQ(screen.attempts(), 2U);
    EXPECT_EQ(screen.stateAfter(1s), State::missing);
    EXPECT_EQ(screen.attempts(), 3U);
    screen.back().plugIn();
    EXPECT_EQ(screen.stateAfter(1100ms), State::running);
    EXPECT_TRUE(screen.camera.preview().newestFrame());

    screen.back().dropFrame();
    screen.phone.run();
    EXPECT_EQ(screen.client->calls.back(), "error videoFrameError");
    EXPECT_EQ(screen.stateAfter(2s), State::running);
    screen.phone.refuse(engine::CaptureCall::capturePhoto);
    screen.camera.captureStill();
    EXPECT_EQ(screen.stateAfter(0ms), State::running);
    EXPECT_EQ(std::ranges::count(screen.client->calls, "error captureImageFailed"), 1);
    EXPECT_EQ(screen.attempts(), 4U) << "a lost frame or still is no lost camera";

    EXPECT_TRUE(screen.camera.toggleTorch());
    screen.back().unplug();
    EXPECT_EQ(screen.stateAfter(0ms), State::missing);
    EXPECT_FALSE(screen.camera.isTorchOn());
    EXPECT_FALSE(screen.camera.toggleTorch());
    EXPECT_FALSE(screen.camera.zoomBy(2));
    screen.back().plugIn();
    EXPECT_EQ(screen.stateAfter(999ms), State::missing) << "its movie is being completed";
    EXPECT_EQ(screen.stateAfter(100ms), State::running);
    EXPECT_EQ(screen.stateAfter(5s), State::running);
    EXPECT_EQ(screen.attempts(), 5U);
}

TEST(LiveCamera, WaitsForThePermissionAndForTheForeground)
{
    LiveScreen screen;
    screen.phone.setAuthorization(AVMediaType::video, AVAuthorizationStatus::denied);
    screen.camera.start(SourceType::cameraFront(false));
    EXPECT_EQ(screen.stateAfter(2500ms), State::refused);
    EXPECT_EQ(screen.phone.journal().texts("report").size(), 1U);
    screen.phone.setAuthorization(AVMediaType::video, AVAuthorizationStatus::authorized);
    EXPECT_EQ(screen.stateAfter(600ms), State::running);

    screen.phone.enterBackground();
    EXPECT_EQ(screen.stateAfter(3s), State::suspended);
    screen.phone.enterForeground();
    EXPECT_EQ(screen.stateAfter(0ms), State::starting);
    EXPECT_EQ(screen.stateAfter(100ms), State::running);

    screen.phone.enterBackground();
    EXPECT_EQ(screen.stateAfter(0ms), State::suspended);
    screen.camera.start(SourceType::cameraBack(false));
    EXPECT_EQ(screen.camera.state(), State::starting);
    screen.phone.enterForeground();
    EXPECT_EQ(screen.stateAfter(100ms), State::running);
    EXPECT_TRUE(screen.camera.switchSide());
    EXPECT_EQ(screen.stateAfter(100ms), State::running);
    EXPECT_EQ(screen.manager->activeType(), SourceType::cameraFront(false));

    screen.front().unplug();
    screen.camera.start(SourceType::cameraFront(false));
    EXPECT_EQ(screen.stateAfter(100ms), State::missing);
    screen.phone.enterBackground();
    const std::size_t attempts = screen.attempts();
    EXPECT_EQ(screen.stateAfter(3s), State::suspended);
    EXPECT_EQ(screen.attempts(), attempts);
    screen.front().plugIn();
    screen.phone.enterForeground();
    EXPECT_EQ(screen.stateAfter(100ms), State::running) << "at once";
}

TEST(LiveCamera, SwitchesSidesInEveryOrderOfEvents)
{
    simulated::ExploreOptions options{.runs = 250, .maximumDelays = 2, .threads = 0};
    for (simulated::CameraScript& camera : options.phone.cameras)
        camera.frameInterval = 33ms;
    for (const auto from : {0ms, 90ms}) {
        options.choicesFrom = from;
        options.choicesUntil = from + 90ms;
        const auto result = simulated::explore(options, switchSides);
        EXPECT_FALSE(result.failure) << result;
    }
}

TEST(LiveCamera, ControlsZoomAndTorch)
{
    LiveScreen screen;
    screen.front().script().hasTorch = false;
    screen.camera.start(SourceType::cameraFront(false));
    screen.camera.start(SourceType::cameraBack(true));
    EXPECT_EQ(screen.stateAfter(100ms), State::running);
    EXPECT_EQ(screen.camera.zoomBy(2), 2);
    EXPECT_EQ(screen.camera.zoomBy(1.5), 3);
    EXPECT_EQ(screen.back().zoomFactor(), 3);
    EXPECT_EQ(screen.camera.zoomBy(100), 16);
    EXPECT_EQ(screen.camera.zoomBy(0.001), 1);

    EXPECT_TRUE(screen.camera.toggleTorch());
    EXPECT_TRUE(screen.camera.isTorchOn());
    screen.camera.captureStill();
    screen.phone.advance(1s);
    EXPECT_EQ(screen.client->samples.size(), 1U);
    EXPECT_EQ(screen.back().torchMode(), AVCaptureTorchMode::on) << "during the still, and afterwards";
    const std::size_t attempts = screen.attempts();
    EXPECT_TRUE(screen.camera.switchSide());
    EXPECT_TRUE(screen.camera.switchSide());
    EXPECT_TRUE(screen.camera.switchSide());
    EXPECT_EQ(screen.back().torchMode(), AVCaptureTorchMode::off);
    EXPECT_EQ(screen.stateAfter(100ms), State::running);
    EXPECT_EQ(screen.attempts(), attempts + 1) << "once, when the camera before has stopped";
    EXPECT_TRUE(screen.front().isStarted());
    EXPECT_FALSE(screen.camera.toggleTorch());
    EXPECT_FALSE(screen.camera.isTorchOn());
    EXPECT_TRUE(screen.camera.zoomBy(1)) << "it is not locked";
    screen.back().script().isPresent = false;
    EXPECT_FALSE(screen.camera.switchSide());
    EXPECT_EQ(screen.stateAfter(100ms), State::running);
}

TEST(LiveCamera, IsDestroyedWhileItWaits)
{
    CaptureScreen screen;
    screen.back().script().isPresent = false;
    {
        LiveCamera camera(
            screen.manager, screen.client, screen.responseQueue, screen.phone.platform(), [] { });
        camera.start(SourceType::cameraBack(false));
        screen.phone.run();
    }
    screen.back().plugIn();
    screen.phone.advance(3s);
    EXPECT_FALSE(screen.back().isOpen());
}

} // namespace tamsel::tests
