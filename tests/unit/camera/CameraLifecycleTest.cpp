#include "support/CaptureScreen.h"

#include <tamsel/camera/IosCamera.h>
#include <tamsel/camera/VideoFrameHandler.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace tamsel::tests {

using namespace platform;
using Position = CameraConfiguration::Position;

namespace {

/// Writes down what a camera reports, and whether it came on the session queue.
class RecordingDelegate final : public CameraDelegate {
public:
    void didOutputSampleBuffer(
        std::shared_ptr<CMSampleBuffer> /*sampleBuffer*/, std::optional<CGAffineTransform> transform) override
    {
        calls.emplace_back(transform ? "frame with transform" : "frame");
    }
    void didCapturePhoto(std::vector<std::byte> /*data*/, OvriImageSource /*source*/) override { }
    void didRecordVideo(std::filesystem::path /*url*/) override { }
    void didFail(CameraError error) override { calls.push_back("fail " + std::string(error.name())); }
    void cameraDidResume() override { calls.emplace_back("resume"); }
    void cameraDidSuspend() override { calls.emplace_back("suspend"); }
    void didOutputMetadataObjects(AVMetadataObjects objects) override
    {
        calls.push_back("metadata " + std::to_string(objects.size()));
    }

    Texts calls;
};

/// A camera by itself, without a manager.
struct LoneCamera {
    explicit LoneCamera(simulated::PhoneConfiguration configuration = {}, Position position = Position::back)
        : phone(std::move(configuration))
    {
        camera = IosCamera::create(
            {Position::back, CameraConfiguration::SessionPreset::photo, false}, phone.platform());
        camera->setDelegate(delegate);
        camera->setIsActive(true);
        camera->setConfiguration({position, CameraConfiguration::SessionPreset::photo, false});
    }

    void start(std::vector<AVMetadataObjectType> types = {})
    {
        camera->startSession(std::move(types), [this] { ++completions; });
        phone.run();
    }

    simulated::SimulatedCamera& back() { return phone.camera(AVCaptureDevicePosition::back); }

    simulated::Phone phone;
    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
    std::shared_ptr<IosCamera> camera;
    int completions = 0;
};

} // namespace

TEST(CameraLifecycle, HandsOverAFrameOnItsWayAlthoughTheCameraIsLetGo)
{
    LoneCamera lone;
    lone.start();
    EXPECT_EQ(lone.completions, 1);
    lone.back().produceFrame();
    // One step: the video queue has passed the frame on, the session queue has not yet.
    const std::size_t held = 2;
    lone.phone.runUntil([&] { return lone.camera.use_count() >= static_cast<long>(held); });
    lone.camera.reset();
    lone.phone.run();
    EXPECT_EQ(lone.delegate->calls, Texts{"frame"});
}

TEST(CameraLifecycle, StopsBetweenPauseAndResume)
{
    LoneCamera lone;
    lone.start();
    int completions = 0;
    lone.phone.journal().clear();
    lone.camera->pause([&] {
        ++completions;
        EXPECT_FALSE(lone.back().isStarted()) << "the session has stopped by then";
    });
    EXPECT_FALSE(lone.camera->isActive());
    EXPECT_EQ(lone.phone.journal().texts(), Texts{"setSampleBufferDelegate none"});
    EXPECT_EQ(completions, 0) << "not inside the call";
    lone.camera->pause([&] { ADD_FAILURE() << "no longer active, although the session still runs"; });
    lone.phone.run();
    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(lone.back().isStarted());

    // Not active: the delegate is cleared all the same, nothing else happens.
    lone.phone.journal().clear();
    lone.camera->pause([&] { ++completions; });
    lone.phone.run();
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(lone.phone.journal().texts(), Texts{"setSampleBufferDelegate none"});

    lone.phone.journal().clear();
    lone.camera->resume();
    EXPECT_TRUE(lone.camera->isActive());
    lone.camera->resume();
    lone.phone.run();
    EXPECT_TRUE(lone.back().isStarted());
    lone.phone.journal().clear();
    lone.camera->resume(); // running: frames are wanted again, nothing is started
    lone.phone.run();
    EXPECT_EQ(lone.phone.journal().texts(), Texts{"setSampleBufferDelegate delegate"});
    EXPECT_EQ(lone.delegate->calls, Texts{});

    // Active, but the session does not run: the completion is not called.
    lone.back().unplug();
    lone.phone.run();
    lone.camera->pause([&] { ++completions; });
    lone.phone.run();
    EXPECT_EQ(completions, 1);
    EXPECT_TRUE(lone.camera->isActive());
}

TEST(CameraLifecycle, StaysAliveUntilAResumeHasEnded)
{
    LoneCamera lone;
    lone.start();
    lone.camera->pause({});
    lone.phone.run();
    lone.phone.journal().clear();
    lone.camera->resume();
    lone.camera.reset();
    lone.phone.run();
    EXPECT_EQ(lone.phone.journal().texts("startRunning").size(), 1U);
}

TEST(CameraLifecycle, TearsDownMetadataOutputsAndInputsOnly)
{
    LoneCamera lone;
    lone.start({"face"});
    lone.phone.journal().clear();
    bool isTornDown = false;
    lone.camera->pause({});
    lone.phone.run();
    lone.camera->tearDown([&] { isTornDown = true; });
    EXPECT_TRUE(isTornDown) << "where its caller runs";
    EXPECT_EQ(lone.phone.journal().texts("remove"),
        (Texts{"removeOutput AVCaptureMetadataOutput", "removeInput video"}));
    EXPECT_EQ(lone.camera->currentDeviceInput(), nullptr);
    lone.camera->tearDown({});
}

TEST(CameraLifecycle, DetectsOnlyWhatIsAskedForAndOffered)
{
    simulated::PhoneConfiguration configuration{
        .detector = {.detectableTypes = {"face", "org.gs1.EAN-13", "org.iso.QRCode"}}};
    configuration.cameras[0].minimumFocusDistance = 100;
    configuration.cameras[0].maxZoomFactor = 4;
    LoneCamera lone(configuration);
    lone.camera->setMinimumFocusObjectSize(0); // as near as it can
    lone.start({"org.iso.QRCode", "org.iso.Aztec", "face"});
    Texts ending = lone.phone.journal().texts();
    ending.erase(ending.begin(), std::ranges::find(ending, "canAddOutput AVCaptureMetadataOutput"));
    std::erase_if(ending, [](const std::string& text) { return text.starts_with("setSampleBuffer"); });
    EXPECT_EQ(ending,
        (Texts{"canAddOutput AVCaptureMetadataOutput", "addOutput AVCaptureMetadataOutput",
            "setMetadataObjectTypes org.iso.QRCode face", "setMetadataObjectsDelegate delegate",
            "lockForConfiguration", "setVideoZoomFactor 4.000000", "unlockForConfiguration",
            "commitConfiguration", "startRunning"}));

    LoneCamera without(configuration);
    without.start();
    EXPECT_EQ(without.phone.journal().texts("addOutput AVCaptureMetadata"), Texts{});

    LoneCamera refused(configuration);
    refused.phone.refuse(engine::CaptureCall::canAddOutput, 1, "AVCaptureMetadataOutput");
    refused.start({"face"});
    EXPECT_EQ(refused.phone.journal().texts("setMetadata"), Texts{});
    EXPECT_TRUE(refused.back().isStarted());
    EXPECT_EQ(refused.delegate->calls, Texts{});
}

TEST(CameraLifecycle, FailsForAPositionThatNoDeviceHas)
{
    LoneCamera lone({}, Position::unspecified);
    lone.start();
    EXPECT_EQ(lone.delegate->calls, Texts{"fail canNotAddInput"});
    EXPECT_EQ(lone.phone.journal().texts("default"), Texts{});
    EXPECT_EQ(lone.completions, 0);
    EXPECT_FALSE(IosCamera::isAvailable(Position::unspecified, lone.phone.platform()));
    EXPECT_TRUE(IosCamera::isAvailable(Position::front, lone.phone.platform()));
    lone.phone.enterBackground();
    lone.phone.enterForeground();
    lone.phone.run();
    EXPECT_EQ(lone.delegate->calls, (Texts{"fail canNotAddInput", "suspend", "resume"}));
    EXPECT_EQ(lone.phone.journal().texts("startRunning").size(), 1U)
        << "an active camera's session, whatever it has";
    lone.back().script().isPresent = false;
    EXPECT_FALSE(IosCamera::isAvailable(Position::back, lone.phone.platform()));
}

TEST(CameraLifecycle, FollowsTheApplicationOnlyWhileActive)
{
    LoneCamera lone;
    lone.start();
    lone.phone.enterBackground();
    lone.phone.run();
    EXPECT_FALSE(lone.back().isStarted());
    lone.phone.enterForeground();
    lone.phone.run();
    EXPECT_TRUE(lone.back().isStarted());
    EXPECT_EQ(lone.delegate->calls, (Texts{"suspend", "resume"}));

    lone.camera->pause({});
    lone.phone.run();
    lone.phone.enterBackground();
    lone.phone.run();
    lone.phone.enterForeground();
    lone.phone.run();
    EXPECT_FALSE(lone.back().isStarted());
    EXPECT_EQ(lone.delegate->calls.size(), 2U);

    lone.camera->resume();
    lone.phone.run();
    lone.phone.enterBackground();
    lone.phone.runUntil(
        [&] { return !lone.phone.platform().dispatch.mainQueue()->isCurrent() && lone.phone.isIdle(); });
    lone.camera.reset();
    lone.phone.enterForeground();
    lone.phone.run();
    EXPECT_EQ(lone.delegate->calls, (Texts{"suspend", "resume", "suspend"}));
}

TEST(CameraLifecycle, GatesAtTheHandlerByTheCamerasFlag)
{
    simulated::Phone phone;
    VideoFrameHandler handler(phone.platform());
    const auto ledger = std::make_shared<FrameLedger>();
    const auto sample
        = [&] { return std::make_shared<CMSampleBuffer>(nullptr, nullptr, FrameTicket(ledger)); };
    handler.setIsActive(true);
    handler.captureOutputDidOutputSampleBuffer(sample()); // nobody to pass it to
    int passed = 0;
    handler.setCompletion([&](const VideoFrameHandler::Result&) { ++passed; });
    handler.captureOutputDidOutputSampleBuffer(sample());
    handler.captureOutputDidDropSampleBuffer(*sample());
    EXPECT_EQ(passed, 2);
    handler.setIsActive(false);
    handler.captureOutputDidOutputSampleBuffer(sample());
    handler.captureOutputDidDropSampleBuffer(*sample());
    EXPECT_EQ(passed, 2);
    EXPECT_EQ(ledger->counts().gated, 3U);
    EXPECT_EQ(phone.journal().texts("report").size(), 1U);
}

} // namespace tamsel::tests
