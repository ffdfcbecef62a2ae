#include "support/CaptureScreen.h"

#include <gtest/gtest.h>

namespace tamsel::tests {

using namespace platform;
using Manager = OvriSourceManager;
using Status = AVAuthorizationStatus;

namespace {

std::shared_ptr<Manager> managerFor(simulated::Phone& phone, const std::vector<SourceType>& types)
{
    return Manager::create(
        types, CameraConfiguration::SessionPreset::photo, phone.makeQueue("response"), phone.platform());
}

} // namespace

TEST(Queries, TellFiveThingsOfFourKindsOfPermission)
{
    simulated::Phone phone;
    Platform& platform = phone.platform();
    const auto answers = [&] {
        return std::array{Manager::isMissingCameraPermission(platform), Manager::isCameraRestricted(platform),
            Manager::isCameraAuthorized(platform), Manager::isMissingMicPermission(platform),
            Manager::isMicAuthorized(platform)};
    };
    const std::vector<std::pair<Status, std::array<bool, 3>>> cameraAnswers{
        {Status::notDetermined, {true, false, false}},
        {Status::restricted, {false, true, false}},
        {Status::denied, {true, false, false}},
        {Status::authorized, {false, false, true}},
    };
    for (const auto& [camera, expected] : cameraAnswers) {
        for (const Status microphone :
            {Status::notDetermined, Status::restricted, Status::denied, Status::authorized}) {
            phone.setAuthorization(AVMediaType::video, camera);
            phone.setAuthorization(AVMediaType::audio, microphone);
            const bool isMissing = microphone == Status::notDetermined || microphone == Status::denied;
            EXPECT_EQ(answers(),
                (std::array{
                    expected[0], expected[1], expected[2], isMissing, microphone == Status::authorized}));
        }
    }
}

TEST(Queries, KnowAGyroscopeOnlyWithAMotionSource)
{
    simulated::Phone phone;
    EXPECT_FALSE(
        managerFor(phone, {SourceType::cameraBack(false)})->isSourceAvailable(SourceType::stability()));
    for (const SourceType& motion : {SourceType::stability(), SourceType::facingAngle()}) {
        const auto manager = managerFor(phone, {motion});
        EXPECT_TRUE(manager->isSourceAvailable(SourceType::stability()));
        for (const SourceType& other : {SourceType::facingAngle(), SourceType::asset(nullptr),
                 SourceType::undefined(), SourceType::mic(), SourceType::nfc()})
            EXPECT_FALSE(manager->isSourceAvailable(other));
        phone.motion().script().hasGyro = false;
        EXPECT_FALSE(manager->isSourceAvailable(SourceType::stability()));
        phone.motion().script().hasGyro = true;
    }
}

TEST(Queries, SayWhatCanBeCapturedFromTheStartOnAndWhenTheCameraIsActive)
{
    CaptureScreen screen;
    const Manager& manager = *screen.manager;
    const auto canCapture = [&] {
        EXPECT_EQ(manager.canCaptureStillImage(), manager.canRecordVideo());
        return manager.canRecordVideo();
    };
    EXPECT_FALSE(canCapture());
    EXPECT_FALSE(manager.isCameraActive());

    ASSERT_TRUE(screen.start().has_value());
    EXPECT_TRUE(canCapture()) << "before the main queue has carried anything out";
    EXPECT_FALSE(manager.isCameraActive());
    screen.phone.run();
    EXPECT_TRUE(manager.isCameraActive());

    for (const Status refused : {Status::restricted, Status::denied, Status::notDetermined}) {
        screen.phone.setAuthorization(AVMediaType::video, refused);
        EXPECT_FALSE(canCapture()) << "at once, with the camera running";
        EXPECT_TRUE(manager.isCameraActive());
    }
    // A status of a later system refuses nothing, as a start does not, either.
    for (const Status granted : {static_cast<Status>(4), Status::authorized}) {
        screen.phone.setAuthorization(AVMediaType::video, granted);
        screen.phone.setAuthorization(AVMediaType::audio, Status::denied);
        EXPECT_TRUE(canCapture());
    }

    screen.phone.enterBackground();
    screen.phone.run();
    EXPECT_TRUE(manager.isCameraActive());
    screen.phone.enterForeground();
    screen.phone.run();

    screen.manager->pauseCamera();
    EXPECT_FALSE(manager.isCameraActive()) << "before the session has stopped";
    screen.phone.run();
    EXPECT_TRUE(canCapture());
    screen.manager->resumeCamera();
    screen.phone.run();
    EXPECT_TRUE(manager.isCameraActive());

    screen.manager->stopCameraSession();
    EXPECT_FALSE(manager.isCameraActive());
    screen.phone.run();
    EXPECT_FALSE(canCapture());

    ASSERT_TRUE(screen.start(SourceType::asset(screen.phone.platform().assets.assetWithURL("clip.mp4"))));
    EXPECT_FALSE(canCapture()) << "a recording has stills, but no camera";
}

TEST(Queries, GiveTheSizeOfTheCamerasFormatAsItIs)
{
    CaptureScreen screen;
    EXPECT_EQ(screen.manager->imageResolution(), (CGSize{0, 0}));
    ASSERT_TRUE(screen.start().has_value());
    EXPECT_EQ(screen.manager->imageResolution(), (CGSize{0, 0})) << "the camera has no input yet";
    screen.phone.setDeviceOrientation(UIDeviceOrientation::landscapeLeft);
    screen.phone.setInterfaceOrientation(UIInterfaceOrientation::landscapeRight);
    screen.phone.run();
    EXPECT_EQ(screen.manager->imageResolution(), (CGSize{64, 48}));
    screen.back().script().tellsDimensions = false;
    EXPECT_EQ(screen.manager->imageResolution(), (CGSize{0, 0}));
    screen.back().script().tellsDimensions = true;
    screen.back().script().width = 96;
    EXPECT_EQ(screen.manager->imageResolution(), (CGSize{96, 48})) << "the format may change";

    screen.manager->stopCameraSession();
    screen.phone.run();
    EXPECT_EQ(screen.manager->imageResolution(), (CGSize{0, 0}));
}

TEST(Queries, AFilledPreviewIsForCamerasThatAreStartedAfterwards)
{
    CaptureScreen screen;
    screen.startAndRun();
    const auto first = screen.previewLayer();
    EXPECT_EQ(first->videoGravity(), AVLayerVideoGravity::resizeAspect);
    screen.manager->prefersAspectFillCameraPreview();
    EXPECT_EQ(first->videoGravity(), AVLayerVideoGravity::resizeAspect);

    screen.view = std::make_shared<UIView>(CGSize{300, 400});
    for (int start = 0; start < 2; ++start) {
        screen.manager->stopCameraSession();
        screen.phone.run();
        screen.startAndRun();
        EXPECT_EQ(screen.previewLayer()->videoGravity(), AVLayerVideoGravity::resizeAspectFill);
    }
}

} // namespace tamsel::tests
