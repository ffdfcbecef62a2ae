#include "support/CaptureScreen.h"

#include <formats/imageMetadata.h>

#include <tamsel/photo/makeImage.h>
#include <tamsel/platform/core/Tamsel.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace tamsel::tests {

using namespace platform;

namespace {

/// A capture screen whose camera runs at 30 frames a second.
struct StillScreen : CaptureScreen {
    explicit StillScreen(simulated::PhoneConfiguration configuration = {},
        const SourceType& type = SourceType::cameraBack(false))
        : CaptureScreen(std::move(configuration))
    {
        startCamera(type);
    }

    void still(OvriImageSource source = OvriImageSource::photo, const TamselCameraSettings& settings = {})
    {
        manager->captureStillImage(source, settings);
    }
    /// And waits for it.
    void take(OvriImageSource source = OvriImageSource::photo, const TamselCameraSettings& settings = {})
    {
        still(source, settings);
        phone.advance(100ms);
    }

    /// What became of stills, without the live frames around them.
    [[nodiscard]] Texts results() const
    {
        Texts kept;
        std::ranges::copy_if(client->calls, std::back_inserter(kept),
            [](const std::string& call) { return call == "sample" || call.starts_with("error capture"); });
        return kept;
    }

    [[nodiscard]] std::shared_ptr<CGImage> pixels(const CaptureSampleUpdate& sample)
    {
        const auto image = makeImage(sample, phone.platform());
        return std::get<std::shared_ptr<const EncodedImage>>(image.value().ciImage().source())
            ->decode()
            .value();
    }

    [[nodiscard]] PropertyDictionary properties(std::size_t sample = 0) const
    {
        return formats::readImageProperties(client->samples.at(sample)->sample());
    }
};

std::string textOf(const PropertyDictionary& properties, std::string_view dictionary, std::string_view key)
{
    const PropertyDictionary* found = properties.findDictionary(dictionary);
    const std::string* text = found ? found->findText(key) : nullptr;
    return text ? *text : "none";
}

std::string modelOf(const PropertyDictionary& properties)
{
    return textOf(properties, kCGImagePropertyTIFFDictionary, kCGImagePropertyTIFFModel);
}

} // namespace

TEST(StillPhoto, IsTheNextFrameWithTheLibrarysMetadata)
{
    StillScreen screen;
    screen.phone.location().setLocation(CLLocation{.latitude = -33.8688,
        .longitude = 151.2093,
        .altitude = -4,
        .horizontalAccuracy = 5,
        .timestamp = 0});
    screen.take(OvriImageSource::video);

    ASSERT_EQ(screen.results(), Texts{"sample"});
    const CaptureSampleUpdate& sample = *screen.client->samples.front();
    EXPECT_EQ(sample.source(), OvriImageSource::video);
    EXPECT_EQ(sample.exifOrientation(), CGImagePropertyOrientation::right);
    const PropertyDictionary properties = screen.properties();
    EXPECT_EQ(modelOf(properties), "Simulated phone facing back");
    EXPECT_EQ(textOf(properties, "{TIFF}", "Software"), "Mobile SDK. iOS 16.4");
    EXPECT_EQ(textOf(properties, "{GPS}", "LatitudeRef"), "S");
    EXPECT_EQ(textOf(properties, "{GPS}", "DateStamp"), "1970:01:01");
    EXPECT_EQ(textOf(properties, "{Exif}", "DateTimeOriginal"), "1985:11:05 00:53:20");
    EXPECT_EQ(textOf(properties, "{Exif}", "OffsetTimeOriginal"), "+00:00");

    const auto image = makeImage(sample, screen.phone.platform());
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->ciImage().extent().size, (CGSize{64, 48}));
}

TEST(StillPhoto, CarriesItsWayUpAsATagFromThePreview)
{
    StillScreen screen; // whose interface is in portrait
    screen.previewLayer()->connection()->setVideoOrientation(AVCaptureVideoOrientation::landscapeLeft);
    screen.take();
    ASSERT_EQ(screen.results(), Texts{"sample"});
    EXPECT_EQ(*screen.properties().find("Orientation"), PropertyValue(6));
    EXPECT_EQ(*screen.properties().find("PixelWidth"), PropertyValue(64)) << "as they are stored";
}

TEST(StillPhoto, IsOfTheCameraThatRunsWithItsFlashAndTorch)
{
    simulated::PhoneConfiguration configuration; // the back camera has both
    configuration.cameras.back().flashModes = {AVCaptureFlashMode::off};
    configuration.cameras.back().hasTorch = false;
    StillScreen front(std::move(configuration), SourceType::cameraFront(false));
    front.take(OvriImageSource::photo,
        {.cameraFlashMode = AVCaptureFlashMode::on, .cameraTorchMode = AVCaptureTorchMode::on});
    ASSERT_EQ(front.results(), Texts{"sample"});
    EXPECT_EQ(modelOf(front.properties()), "Simulated phone facing front");
    EXPECT_EQ(front.phone.journal().texts("capturePhoto"), Texts{"capturePhoto flash off"});
    EXPECT_EQ(front.phone.journal().texts("lock"), Texts{});
}

TEST(StillPhoto, OfAnOldSystemIsWrittenWithoutTheLibrarysMetadata)
{
    StillScreen screen({.systemVersion = "11.4"});
    screen.phone.location().setLocation(CLLocation{});
    screen.take();
    ASSERT_EQ(screen.results(), Texts{"sample"});
    EXPECT_EQ(modelOf(screen.properties()), "Simulated phone");
    EXPECT_EQ(screen.properties().find("{GPS}"), nullptr);
    EXPECT_EQ(screen.phone.location().managersMade(), 0);
}

TEST(StillPhoto, FlashesAsTheSettingsSayWhereTheCameraCan)
{
    using Mode = AVCaptureFlashMode;
    struct Case {
        std::vector<Mode> supported;
        Mode wanted;
        const char* taken;
    };
    for (const Case& one : {
             Case{{Mode::off, Mode::on, Mode::automatic}, Mode::automatic, "capturePhoto flash automatic"},
             Case{{Mode::off, Mode::on}, Mode::on, "capturePhoto flash on"},
             Case{{Mode::off, Mode::on}, Mode::automatic, "capturePhoto flash off"},
         }) {
        simulated::PhoneConfiguration configuration;
        configuration.cameras.front().flashModes = one.supported;
        StillScreen screen(std::move(configuration));
        screen.take(OvriImageSource::photo, {.cameraFlashMode = one.wanted});
        EXPECT_EQ(screen.phone.journal().texts("capturePhoto"), Texts{one.taken});
        EXPECT_EQ(screen.phone.settings().texts("photoSettings"),
            Texts{"photoSettings jpeg highResolution stabilized balanced"})
            << "as good as the camera can";
        EXPECT_EQ(screen.results(), Texts{"sample"});
    }
}

TEST(StillPhoto, SwitchesTheTorchAndLeavesItSo)
{
    StillScreen screen;
    screen.take(OvriImageSource::photo, {.cameraTorchMode = AVCaptureTorchMode::on});
    EXPECT_EQ(screen.phone.journal().texts("lock"), Texts{"lockForConfiguration"});
    EXPECT_EQ(screen.phone.journal().texts("setTorchMode"), Texts{"setTorchMode on"});
    EXPECT_EQ(screen.phone.journal().texts("unlock"), Texts{"unlockForConfiguration"});
    EXPECT_EQ(screen.back().torchMode(), AVCaptureTorchMode::on);

    // A device that cannot be locked costs a report and not the still.
    screen.phone.refuse(engine::CaptureCall::lockForConfiguration);
    screen.take(OvriImageSource::photo, {.cameraTorchMode = AVCaptureTorchMode::off});
    EXPECT_EQ(
        screen.phone.journal().texts("report"), Texts{"report device error: no permission for the camera"});
    EXPECT_EQ(screen.results(), (Texts{"sample", "sample"}));
    EXPECT_EQ(screen.back().torchMode(), AVCaptureTorchMode::on);
}

TEST(StillPhoto, MakesTheSoundThatTheSettingsSay)
{
    StillScreen screen;
    screen.take(OvriImageSource::photo, {.cameraCaptureSound = TamselCameraSettings::Silent{}});
    EXPECT_EQ(screen.phone.journal().texts("sound"), (Texts{"sound dispose 1108", "sound dispose 1108"}));
    screen.phone.journal().clear();
    screen.still(OvriImageSource::photo, {.cameraCaptureSound = TamselCameraSettings::CustomSound{"click"}});
    screen.take();
    EXPECT_EQ(screen.phone.journal().texts("sound"), (Texts{"sound play 1108", "sound play 1108"}));
    screen.phone.journal().clear();

    // Without settings the product's apply, as they are at that moment.
    screen.phone.platform().tamsel.setCameraSettings(
        {.cameraFlashMode = AVCaptureFlashMode::on, .cameraCaptureSound = TamselCameraSettings::Silent{}});
    screen.manager->captureStillImage(OvriImageSource::photo, std::nullopt);
    screen.phone.platform().tamsel.setCameraSettings({});
    screen.phone.advance(100ms);
    EXPECT_EQ(screen.phone.journal().texts("sound play"), Texts{});
    EXPECT_EQ(screen.phone.journal().texts("capturePhoto"), Texts{"capturePhoto flash on"});
}

TEST(StillPhoto, FailsAtOnceWithoutAPreview)
{
    CaptureScreen screen;
    ASSERT_TRUE(screen.start().has_value());
    // The main queue has not had its turn: there is no layer yet, and nobody to tell.
    screen.manager->captureStillImage(OvriImageSource::photo, std::nullopt);
    EXPECT_EQ(screen.phone.journal().texts("report"), Texts{});
    screen.phone.run();
    screen.view->layer()->removeSublayer(screen.previewLayer());
    screen.manager->captureStillImage(OvriImageSource::photo, std::nullopt);
    const Texts report{"report flow error: Capture image failed (AVCaptureSession)"};
    EXPECT_EQ(screen.phone.journal().texts("report"), report) << "on the calling thread";
    screen.phone.run();
    EXPECT_EQ(screen.client->calls, Texts{"error captureImageFailed"});
    EXPECT_EQ(screen.phone.journal().texts("capturePhoto"), Texts{});
}

TEST(StillPhoto, ThatFailsLeavesLinesAndOneError)
{
    StillScreen screen;
    const auto linesOfAStill = [&] {
        screen.phone.journal().clear();
        screen.still();
        screen.phone.advance(10s);
        EXPECT_EQ(screen.phone.journal().texts("report"),
            Texts{"report flow error: Capture image failed (AVCaptureSession)"});
        return screen.phone.journal().texts("line");
    };
    const std::string noData = R"(line "No photo data resource")";
    screen.phone.refuse(engine::CaptureCall::capturePhoto);
    EXPECT_EQ(linesOfAStill(), (Texts{R"(line "error in capturing: the camera refused the still")", noData}));
    screen.phone.refuse(engine::CaptureCall::processPhoto);
    EXPECT_EQ(
        linesOfAStill(), (Texts{R"(line "error in capturing: the still cannot be processed")", noData}));
    screen.phone.images().setEncodes(false);
    EXPECT_EQ(linesOfAStill(), Texts{noData});
    EXPECT_EQ(screen.results(), Texts(3, "error captureImageFailed"));

    // And the next one succeeds.
    screen.phone.images().setEncodes(true);
    screen.still();
    screen.phone.advance(1s);
    EXPECT_EQ(screen.results().back(), "sample");
}

TEST(StillPhoto, WithoutFramesFailsInTimeAndWhatStopsTheSessionFailsIt)
{
    StillScreen screen;
    screen.back().script().frameInterval = 0s;
    screen.phone.advance(1s);
    screen.still();
    screen.phone.advance(2s);
    screen.still();
    screen.phone.advance(1s);
    EXPECT_EQ(screen.results(), Texts{"error captureImageFailed"});
    screen.phone.advance(2s);
    EXPECT_EQ(screen.results().size(), 2U);

    for (const std::function<void()>& end : {std::function<void()>([&] { screen.manager->pauseCamera(); }),
             std::function<void()>([&] { screen.phone.enterBackground(); }),
             std::function<void()>([&] { screen.back().unplug(); })}) {
        screen.client->calls.clear();
        screen.still();
        screen.phone.run();
        end();
        screen.phone.advance(1ms);
        EXPECT_EQ(screen.results(), Texts{"error captureImageFailed"});
        screen.back().plugIn();
        screen.phone.enterForeground();
        screen.phone.run();
        screen.manager->pauseCamera();
        screen.phone.run();
        screen.manager->resumeCamera();
        screen.phone.run();
        ASSERT_TRUE(screen.back().isStarted());
    }
}

TEST(StillPhoto, AskedForWhilePausedIsTakenWhenTheCameraGoesOn)
{
    StillScreen screen;
    screen.manager->pauseCamera();
    screen.phone.advance(1s);
    screen.still();
    screen.phone.advance(1s);
    EXPECT_EQ(screen.results(), Texts{});
    screen.manager->resumeCamera();
    screen.phone.advance(100ms);
    EXPECT_EQ(screen.results(), Texts{"sample"});
    screen.phone.advance(10s);
    EXPECT_EQ(screen.results().size(), 1U);
}

TEST(StillPhoto, IsNotWhatAClientDrawsIntoItsFrame)
{
    StillScreen screen;
    screen.phone.delay(engine::CaptureCall::processPhoto, 10ms);
    screen.client->onFrame = [&] {
        const CVBuffer& frame = *screen.client->frames.back().imageBuffer();
        std::fill_n(
            const_cast<std::byte*>(frame.pixel(0, 0)), frame.height() * frame.bytesPerRow(), std::byte{7});
        screen.client->frames.clear();
    };
    screen.still();
    screen.phone.advance(200ms);
    ASSERT_EQ(screen.results(), Texts{"sample"});
    const auto pixels = screen.pixels(*screen.client->samples.front());
    EXPECT_EQ(pixels->pixel(5, 3)[0], std::byte{5});
    EXPECT_EQ(pixels->pixel(5, 3)[1], std::byte{3});
}

TEST(StillPhoto, ThatWouldBeFinishedTooLateIsNotBegun)
{
    StillScreen screen;
    screen.phone.delay(engine::CaptureCall::processPhoto, 1950ms);
    for (int number = 0; number < 4; ++number)
        screen.still();
    screen.phone.advance(5s);
    EXPECT_EQ(screen.results(),
        (Texts{"sample", "sample", "error captureImageFailed", "error captureImageFailed"}));

    // A single slow one is forgotten.
    screen.phone.delay(engine::CaptureCall::processPhoto, 20s);
    screen.still();
    screen.phone.advance(25s);
    screen.phone.delay(engine::CaptureCall::processPhoto, 0s);
    for (int number = 0; number < 5; ++number) {
        screen.still();
        screen.phone.advance(1s);
    }
    EXPECT_EQ(screen.results().back(), "sample");
}

TEST(StillPhoto, TakesItsFrameOnlyWhenFewAreBeingFinished)
{
    StillScreen screen;
    screen.phone.delay(engine::CaptureCall::processPhoto, 1s);
    for (int number = 0; number < 3; ++number)
        screen.still();
    screen.phone.advance(5s);
    ASSERT_EQ(screen.client->samples.size(), 3U);
    std::vector<int> frames; // a frame's number is in its red
    for (const auto& sample : screen.client->samples)
        frames.push_back(std::to_integer<int>(screen.pixels(*sample)->pixel(0, 0)[2]));
    EXPECT_EQ(frames[1], frames[0] + 1);
    EXPECT_GE(frames[2], frames[0] + 28) << "a second later";
}

TEST(StillPhoto, AskedForBeforeAStopEndsOnce)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        StillScreen screen({.seed = seed});
        screen.take(); // has ended by then
        screen.still();
        screen.still();
        bool hasStopped = false;
        screen.manager->stopCameraSession();
        screen.manager->whenCameraStopped([&hasStopped] { hasStopped = true; });
        screen.phone.advance(10s);
        EXPECT_TRUE(hasStopped);
        EXPECT_EQ(screen.results().size(), 3U) << "seed " << seed;
    }
}

TEST(StillPhoto, EndsInSilenceWithItsCameraOrDelegate)
{
    StillScreen stopped;
    stopped.back().script().frameInterval = 0s;
    stopped.phone.advance(1s);
    stopped.still();
    stopped.phone.run();
    ASSERT_TRUE(stopped.start().has_value()); // a new camera takes the place of the one that has the still
    stopped.phone.advance(10s);
    EXPECT_EQ(stopped.results(), Texts{});

    StillScreen unheard;
    unheard.still();
    unheard.manager->setDelegate({});
    unheard.phone.advance(10s);
    EXPECT_EQ(unheard.results(), Texts{});
}

} // namespace tamsel::tests
