#include "support/CaptureScreen.h"

#include <engine/image/turnUpright.h>

#include <tamsel/tamsel.h>

#include <gtest/gtest.h>

#include <cstring>

namespace tamsel::tests {

using namespace platform;

namespace {

constexpr CGSize layerSize{300, 200};

/// A screen that draws the preview.
struct PreviewScreen : CaptureScreen {
    explicit PreviewScreen(simulated::PhoneConfiguration configuration = {})
        : CaptureScreen(std::move(configuration))
    {
        view = std::make_shared<UIView>(layerSize);
        preview = Preview::create(view, phone.platform(), responseQueue, [this] { ++changes; });
    }

    /// The number of the newest picture; -1 without one.
    [[nodiscard]] int newest() const
    {
        const auto frame = preview->newestFrame();
        return frame ? static_cast<int>(frame->pixels->timing()->sequence) : -1;
    }

    int changes = 0;
    std::shared_ptr<Preview> preview;
};

simulated::PhoneConfiguration phoneWith(AVCaptureVideoOrientation mount)
{
    simulated::PhoneConfiguration configuration;
    configuration.cameras = {{.position = AVCaptureDevicePosition::back, .sensorOrientation = mount},
        {.position = AVCaptureDevicePosition::front, .sensorOrientation = mount}};
    return configuration;
}

/// The place in the stored picture that this pixel comes from: the simulated camera writes it into its pixels.
CGPoint origin(const CVPixelBuffer& picture, std::size_t x, std::size_t y)
{
    const auto* pixel = reinterpret_cast<const unsigned char*>(picture.pixel(x, y));
    return {(pixel[0] + 0.5) / 64, (pixel[1] + 0.5) / 48};
}

/// Where a toolkit that mirrors, scales and rotates draws this place.
CGPoint drawnAt(const PicturePlacement& placement, CGPoint place)
{
    const auto& [origin, size] = placement.rect;
    if (placement.isMirrored)
        place.x = 1 - place.x;
    CGPoint fromMiddle{(place.x - 0.5) * size.width, (place.y - 0.5) * size.height};
    for (int turn = 0; turn < placement.quarterTurns; ++turn)
        fromMiddle = {-fromMiddle.y, fromMiddle.x};
    return {origin.x + size.width / 2 + fromMiddle.x, origin.y + size.height / 2 + fromMiddle.y};
}

void expectNear(const std::optional<CGPoint>& actual, const CGPoint& expected)
{
    ASSERT_TRUE(actual);
    EXPECT_NEAR(actual->x, expected.x, 1e-9);
    EXPECT_NEAR(actual->y, expected.y, 1e-9);
}

} // namespace

TEST(Preview, KeepsTheNewestPictureUntilTheSessionStops)
{
    PreviewScreen screen;
    screen.startAndRun();
    EXPECT_EQ(screen.newest(), -1);
    for (int frame = 0; frame < 3; ++frame)
        screen.back().produceFrame();
    EXPECT_EQ(screen.newest(), 2);
    EXPECT_EQ(screen.changes, 0);
    screen.phone.run();
    EXPECT_EQ(screen.changes, 1) << "once for three pictures";

    screen.client->frames.clear();
    screen.manager->pauseCamera();
    screen.phone.run();
    EXPECT_EQ(screen.newest(), -1);
    EXPECT_EQ(screen.changes, 2);
    screen.manager->resumeCamera();
    screen.phone.run();
    screen.frame();
    EXPECT_EQ(screen.newest(), 3);

    screen.back().unplug();
    screen.phone.run();
    EXPECT_EQ(screen.newest(), -1);
    screen.preview.reset();
    EXPECT_EQ(screen.previewLayer()->newestFrame(), std::nullopt);
}

TEST(Preview, AndTheClientDoNotTakeEachOthersBuffers)
{
    PreviewScreen screen({.bufferCount = 4});
    screen.startAndRun();
    std::optional<PreviewFrame> shown;
    for (int frame = 0; frame < 4; ++frame) {
        screen.frame(); // the client keeps them all
        shown = screen.preview->newestFrame();
    }
    EXPECT_EQ(screen.client->frames.size(), 4U);
    for (int frame = 4; frame < 12; ++frame) {
        screen.frame();
        ASSERT_EQ(screen.newest(), frame) << "the preview continues while the client keeps all buffers";
        shown = screen.preview->newestFrame();
    }
    screen.client->frames.clear();
    for (int frame = 0; frame < 4; ++frame)
        screen.frame();
    EXPECT_EQ(screen.client->frames.size(), 4U) << "while the screen shows an old picture";
}

TEST(Preview, FollowsTheSessionsOfItsView)
{
    PreviewScreen screen;
    screen.phone.setInterfaceOrientation(UIInterfaceOrientation::landscapeLeft);
    screen.startAndRun();
    screen.frame();
    EXPECT_EQ(
        screen.preview->layer()->connection()->videoOrientation(), AVCaptureVideoOrientation::landscapeLeft);
    screen.phone.setInterfaceOrientation(UIInterfaceOrientation::portrait);
    screen.frame();
    EXPECT_EQ(screen.preview->layer()->connection()->videoOrientation(), AVCaptureVideoOrientation::portrait)
        << "a still would have it, too";

    screen.manager->stopCameraSession();
    screen.phone.run();
    screen.preview->resize({600, 100});
    screen.startAndRun(SourceType::cameraFront(false));
    screen.front().produceFrame();
    screen.phone.run();
    EXPECT_EQ(screen.view->layer()->sublayers().size(), 1U) << "that of the earlier session is removed";
    ASSERT_NE(screen.newest(), -1);
    const CGRect rect = screen.preview->newestFrame()->rect;
    EXPECT_EQ(rect.size.height, 100);
    screen.preview->layer()->setVideoGravity(AVLayerVideoGravity::resizeAspectFill);
    EXPECT_EQ(screen.preview->newestFrame()->rect.size.width, 600);
    screen.preview->layer()->setVideoGravity(AVLayerVideoGravity::resize);
    EXPECT_EQ(screen.preview->newestFrame()->rect, (CGRect{{}, {600, 100}}));
}

// The pixels say where they come from, so nothing here repeats the formulas of the conversions.
TEST(Preview, ConvertsPlacesForEveryMountInterfaceSideAndGravity)
{
    using enum AVCaptureVideoOrientation;
    for (const auto mount : {portrait, portraitUpsideDown, landscapeRight, landscapeLeft}) {
        for (const auto interface :
            {UIInterfaceOrientation::portrait, UIInterfaceOrientation::portraitUpsideDown,
                UIInterfaceOrientation::landscapeRight, UIInterfaceOrientation::landscapeLeft}) {
            for (const bool isFront : {false, true}) {
                SCOPED_TRACE(testing::Message()
                    << "mount " << static_cast<int>(mount) << " interface " << static_cast<int>(interface)
                    << (isFront ? " front" : " back"));
                PreviewScreen screen(phoneWith(mount));
                screen.phone.setInterfaceOrientation(interface);
                screen.startAndRun(isFront ? SourceType::cameraFront(false) : SourceType::cameraBack(false));
                (isFront ? screen.front() : screen.back()).produceFrame();
                screen.phone.run();
                ASSERT_EQ(screen.client->frames.size(), 1U);
                const CVPixelBuffer& live = *screen.client->frames.front().imageBuffer();
                const PreviewFrame shown = screen.preview->newestFrame().value();
                EXPECT_EQ(live.timing(), shown.pixels->timing());
                CVPixelBuffer drawn(live.width(), live.height());
                engine::turnUpright(*shown.pixels, drawn, static_cast<int>(shown.orientation));

                constexpr std::size_t x = 5;
                constexpr std::size_t y = 7;
                const std::size_t mirrored = isFront ? live.width() - 1 - x : x;
                EXPECT_EQ(std::memcmp(live.pixel(x, y), drawn.pixel(mirrored, y), 4), 0);
                const CGPoint place = origin(live, x, y);
                expectNear(outputPointConvertedFromCaptureDevicePoint(place, live), {x + 0.5, y + 0.5});
                expectNear(captureDevicePointConvertedFromOutputPoint({x + 0.5, y + 0.5}, live), place);
                for (const auto gravity : {AVLayerVideoGravity::resizeAspect,
                         AVLayerVideoGravity::resizeAspectFill, AVLayerVideoGravity::resize}) {
                    const auto layer = screen.preview->layer();
                    layer->setVideoGravity(gravity);
                    const CGRect rect = layer->newestFrame()->rect;
                    const CGPoint point{rect.origin.x
                            + (static_cast<double>(mirrored) + 0.5) / static_cast<double>(live.width())
                                * rect.size.width,
                        rect.origin.y
                            + (static_cast<double>(y) + 0.5) / static_cast<double>(live.height())
                                * rect.size.height};
                    expectNear(layer->layerPointConvertedFromCaptureDevicePoint(place), point);
                    expectNear(drawnAt(placementOf(layer->newestFrame()->layerTransform), place), point);
                    expectNear(layer->captureDevicePointConvertedFromLayerPoint(point), place);
                    const bool isWhole = gravity == AVLayerVideoGravity::resize;
                    const double covered
                        = rect.size.width * rect.size.height - layerSize.width * layerSize.height;
                    EXPECT_TRUE(isWhole                                    ? covered == 0
                            : gravity == AVLayerVideoGravity::resizeAspect ? covered < 0
                                                                           : covered > 0);
                    EXPECT_NEAR(rect.origin.x * 2 + rect.size.width, layerSize.width, 1e-9);
                    EXPECT_NEAR(rect.origin.y * 2 + rect.size.height, layerSize.height, 1e-9);
                }
            }
        }
    }
}

TEST(Preview, DrawsDetectionsInThePictureInWhichTheyWereFound)
{
    PreviewScreen screen;
    screen.manager->setMetadataDetection({MetadataObjectType::qr, MetadataObjectType::face}, screen.client);
    screen.phone.detector().show(
        {std::make_shared<AVMetadataFaceObject>(CGRect{{0.25, 0.25}, {0.5, 0.25}}, 1),
            std::make_shared<AVMetadataMachineReadableCodeObject>(
                "org.iso.QRCode", std::vector<CGPoint>{{0.5, 0.5}}, "hello")});
    screen.startAndRun(SourceType::cameraFront(false));
    screen.front().produceFrame();
    screen.phone.run();
    ASSERT_EQ(screen.client->faces.size(), 1U);
    ASSERT_EQ(screen.client->codes.size(), 1U);
    const auto time = screen.preview->newestFrame()->pixels->timing()->captureTime;
    EXPECT_EQ(screen.client->codes.front().captureTime(), time);
    EXPECT_EQ(screen.client->faces.front().face()->captureTime(), time);

    const auto layer = screen.preview->layer();
    layer->setVideoGravity(AVLayerVideoGravity::resize);
    const auto face = std::dynamic_pointer_cast<const AVMetadataFaceObject>(
        layer->transformedMetadataObject(*screen.client->faces.front().face()));
    ASSERT_NE(face, nullptr);
    EXPECT_EQ(face->bounds(), (CGRect{{75, 50}, {150, 50}}));
    EXPECT_EQ(face->faceID(), 1);
    EXPECT_EQ(face->captureTime(), time);
    const CGRect back = layer->metadataOutputRectConvertedFromLayerRect(face->bounds()).value();
    expectNear(back.origin, {0.25, 0.25});
    expectNear(CGPoint{back.size.width, back.size.height}, {0.5, 0.25});
    EXPECT_EQ(
        layer->layerRectConvertedFromMetadataOutputRect({{0, 0}, {0.5, 1}}), (CGRect{{150, 0}, {150, 200}}))
        << "a front camera's preview is a mirror";
    layer->connection()->setAutomaticallyAdjustsVideoMirroring(false);
    EXPECT_EQ(
        layer->layerRectConvertedFromMetadataOutputRect({{0, 0}, {0.5, 1}}), (CGRect{{0, 0}, {150, 200}}));
}

} // namespace tamsel::tests
