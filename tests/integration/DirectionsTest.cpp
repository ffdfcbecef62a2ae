#include "support/CaptureScreen.h"
#include "support/HostScreen.h"
#include "support/Media.h"
#include "support/Pictures.h"

#include <engine/image/renderImage.h>
#include <host/asset/HostAssets.h>
#include <host/image/HostImages.h>
#include <tamsel/client/Preview.h>
#include <tamsel/client/SourceCallbacks.h>
#include <tamsel/photo/makeImage.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <mutex>
#include <optional>
#include <span>

namespace tamsel::tests {

using namespace platform;

namespace {

/// A way to hold the device: by the home side, which is below the screen in portrait, and in the words of each enumeration.
struct Pose {
    const char* name;
    UIInterfaceOrientation interface;
    AVCaptureVideoOrientation sensor;
    UIDeviceOrientation device; ///< named by the top, which is opposite to the home side
    CGImagePropertyOrientation ofFrames; ///< what frames say of the device, whatever their picture shows
};
/// Each is a quarter turn clockwise from the one before: the home side is below, at the left, above, at the right.
constexpr std::array<Pose, 4> poses{{
    {"portrait", UIInterfaceOrientation::portrait, AVCaptureVideoOrientation::portrait,
        UIDeviceOrientation::portrait, CGImagePropertyOrientation::leftMirrored},
    {"landscapeLeft", UIInterfaceOrientation::landscapeLeft, AVCaptureVideoOrientation::landscapeLeft,
        UIDeviceOrientation::landscapeRight, CGImagePropertyOrientation::upMirrored},
    {"portraitUpsideDown", UIInterfaceOrientation::portraitUpsideDown,
        AVCaptureVideoOrientation::portraitUpsideDown, UIDeviceOrientation::portraitUpsideDown,
        CGImagePropertyOrientation::rightMirrored},
    {"landscapeRight", UIInterfaceOrientation::landscapeRight, AVCaptureVideoOrientation::landscapeRight,
        UIDeviceOrientation::landscapeLeft, CGImagePropertyOrientation::downMirrored},
}};

/// How many quarter turns clockwise make the stored picture upright: a row for each mount of the sensor, which is the pose in
/// which its pictures are upright; a column for each pose of the interface. When the device turns clockwise, the scene in its
/// picture turns the other way, and the picture must follow the device. The front camera is no exception: nothing is mirrored.
constexpr std::array<std::array<int, 4>, 4> turnsToUpright{{
    {0, 1, 2, 3}, // portrait
    {3, 0, 1, 2}, // landscapeLeft
    {2, 3, 0, 1}, // portraitUpsideDown
    {1, 2, 3, 0}, // landscapeRight
}};

/// The Exif orientation of a picture that quarter turns clockwise make upright.
constexpr std::array<int, 4> exifOfTurns{1, 6, 3, 8};

Pixels uprightAfter(const Pixels& stored, int turns)
{
    return uprightPicture(stored, exifOfTurns.at(static_cast<std::size_t>(turns)));
}

/// Three places of the sheet that are black, and white when the sheet is mirrored or upside down; and three of those.
constexpr std::array<std::pair<int, int>, 6> points{
    {{463, 244}, {631, 445}, {631, 460}, {236, 244}, {68, 445}, {463, 275}}};

constexpr CGPoint codeCorner{
    420 / 700.0, 234 / 520.0}; ///< of the Data Matrix on the sheet, its upper left one
constexpr CGPoint faceCentre{596 / 700.0, 274 / 520.0};

/// The sheet, and beside its Data Matrix a face, upright.
Pixels makeScene()
{
    Pixels scene = decoded(readFile(testData("codes/sheet.png")));
    const Pixels portrait = decoded(readFile(testData("face/astronaut_grey.jpg")));
    for (int y = 0; y < 190; ++y) {
        for (int x = 0; x < 190; ++x)
            scene.at(500 + x, 180 + y) = portrait.at(80 + x, 10 + y);
    }
    return scene;
}

/// What a client has got. With each frame the device turns on: frames say so, and nothing else may depend on it.
struct Received {
    std::mutex guard;
    std::size_t frames = 0;
    std::size_t wrongPictures = 0;
    std::size_t wrongOrientations = 0;
    std::optional<CGPoint> corner; ///< the first of the code, in the stored picture
    std::optional<CGPoint> face; ///< its centre
    std::string still;
    bool hasVideo = false;

    [[nodiscard]] bool has(const std::function<bool(Received&)>& condition)
    {
        const std::lock_guard lock(guard);
        return condition(*this);
    }
};

std::shared_ptr<CallbackDelegate> delegateOf(
    const std::shared_ptr<Received>& received, host::Host& host, const Pixels& scene)
{
    const auto keep = [received](auto store) {
        return [received, store](OvriSourceManager&, const auto& value) {
            const std::lock_guard lock(received->guard);
            store(*received, value);
        };
    };
    return makeDelegate({
        .didGetFrame = keep([&](Received& all, const OvriCaptureFrameUpdate& frame) {
            all.wrongPictures += Pixels(*frame.imageBuffer()) == scene ? 0 : 1;
            all.wrongOrientations += frame.exifOrientation() == poses.at(all.frames % 4).ofFrames ? 0 : 1;
            host.setDeviceOrientation(poses.at(++all.frames % 4).device);
        }),
        .didGetSample = keep([](Received& all, const std::shared_ptr<CaptureSampleUpdate>& sample) {
            all.still.assign(reinterpret_cast<const char*>(sample->sample().data()), sample->sample().size());
        }),
        .didGetVideo = keep([](Received& all, const std::filesystem::path&) { all.hasVideo = true; }),
        .didDetectFace = keep([](Received& all, const OvriMetadataFaceObject& face) {
            const auto [origin, size] = face.face()->bounds();
            all.face = CGPoint{origin.x + size.width / 2, origin.y + size.height / 2};
        }),
        .didDetectCodes
        = keep([](Received& all, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) {
              all.corner = codes.front().corners().front();
          }),
    });
}

CGPoint turned(CGPoint place, int turns)
{
    for (; turns > 0; --turns)
        place = {1 - place.y, place.x};
    return place;
}

/// What becomes of a movie that is a source, and of a still that is an album image, as files or on a simulated phone. The
/// pictures that are shown are upright; a still of a recording is the stored picture.
void expectPictures(CaptureScreen& screen, const std::string& movie, const std::string& still, int turns,
    const std::function<void(const Pixels&, const char*)>& expectUpright)
{
    screen.client->frames.clear();
    screen.client->samples.clear();
    Platform& platform = screen.phone.platform();
    ASSERT_TRUE(screen.start(SourceType::asset(platform.assets.assetWithURL(movie))).has_value());
    screen.phone.advance(150ms);
    ASSERT_EQ(screen.client->frames.size(), 1U);
    const auto shown = engine::renderImage(makeImage(screen.client->frames.front()).ciImage());
    ASSERT_TRUE(shown.has_value());
    expectUpright(Pixels(**shown), "a recorded video");
    screen.manager->captureStillImage(OvriImageSource::photo, std::nullopt);
    const auto bytes = std::as_bytes(std::span(still));
    screen.manager->provide(bytes, platform.images.makeImageSource(bytes)->copyProperties(),
        static_cast<CGImagePropertyOrientation>(exifOfTurns.at(static_cast<std::size_t>(turns))));
    screen.phone.run();
    ASSERT_EQ(screen.client->samples.size(), 2U);
    const auto file = [&](std::size_t number) {
        const std::vector<std::byte>& sample = screen.client->samples.at(number)->sample();
        return std::string(reinterpret_cast<const char*>(sample.data()), sample.size());
    };
    expectUpright(uprightAfter(decoded(file(0)), turns), "a still of a recorded video");
    expectUpright(decoded(file(1), {.appliesOrientationProperty = true}), "an album image");
}

} // namespace

class Directions : public testing::TestWithParam<std::size_t> { };

// A scene on the wall, upright, whose picture the sensor stores turned.
TEST_P(Directions, EveryOutputShowsTheSceneUpright)
{
    const ScratchFolder folder;
    const Pixels scene = makeScene();
    // For encoded pictures.
    const auto expectScene = [&](const Pixels& picture, const char* what) {
        ASSERT_EQ(picture.width, scene.width) << what;
        ASSERT_EQ(picture.height, scene.height) << what;
        for (const auto& [x, y] : points) {
            const auto light = [&](const Pixels& of) { return static_cast<int>(of.at(x, y) >> 8 & 0xff); };
            EXPECT_NEAR(light(picture), light(scene), 80) << what << " at " << x << ", " << y;
        }
    };
    const Pose& mount = poses.at(GetParam());
    for (std::size_t pose = 0; pose < poses.size(); ++pose) {
        const Pose& held = poses.at(pose);
        const int turns = turnsToUpright.at(GetParam()).at(pose);
        const std::string stored = folder.file("stored.png");
        writeFile(stored, pngFile(uprightAfter(scene, (4 - turns) % 4)));
        for (const bool isFront : {false, true}) {
            SCOPED_TRACE(std::string(mount.name) + ", held " + held.name + (isFront ? ", front" : ", back"));
            const host::HostInput input{.input = stored, .sensorOrientation = mount.sensor};
            HostScreen screen(isFront ? host::HostConfiguration{.frontCamera = input}
                                      : host::HostConfiguration{.backCamera = input});
            screen.host.setInterfaceOrientation(held.interface);
            screen.host.setDeviceOrientation(poses.front().device);
            const auto received = std::make_shared<Received>();
            const auto delegate = delegateOf(received, screen.host, scene);
            const auto wait = [&](const std::function<bool(Received&)>& condition) {
                return screen.runUntil([&] { return received->has(condition); });
            };
            std::vector<MetadataObjectType> kinds{MetadataObjectType::dataMatrix};
#ifdef TAMSEL_FACES
            if (pose == 0 && isFront == (turns % 2 == 1)) // slow, and enough for each turn once
                kinds.push_back(MetadataObjectType::face);
#endif
            screen.manager->setMetadataDetection(kinds, delegate);
            const auto view = std::make_shared<UIView>(CGSize{640, 480});
            const auto preview
                = Preview::create(view, screen.host.platform(), screen.host.makeQueue("preview"), [] { });
            const SourceType camera = isFront ? SourceType::cameraFront(true) : SourceType::cameraBack(true);
            ASSERT_TRUE(screen.manager->startSession(camera, delegate, {}, view).has_value());
            ASSERT_TRUE(wait([&](Received& all) {
                return all.frames > 0 && all.corner && (all.face || kinds.size() == 1);
            }));
            ASSERT_TRUE(screen.runUntil([&] { return preview->newestFrame().has_value(); }));
            const std::string movie
                = folder.file(std::string(held.name) + (isFront ? "-front.mp4" : "-back.mp4"));
            screen.manager->startVideoRecording(movie);
            ASSERT_TRUE(screen.runUntil([&] { return screen.manager->frameCounts().recorded >= 3; }));
            screen.manager->captureStillImage(OvriImageSource::photo, std::nullopt);
            ASSERT_TRUE(wait([](Received& all) { return !all.still.empty(); }));
            screen.manager->stopVideoRecording();
            ASSERT_TRUE(wait([](Received& all) { return all.hasVideo && all.frames >= poses.size(); }));
            const PreviewFrame drawn = preview->newestFrame().value();
            screen.manager->stopCameraSession();

            const std::lock_guard lock(received->guard); // codes may still come
            EXPECT_EQ(received->wrongPictures, 0U) << "of live frames";
            EXPECT_EQ(received->wrongOrientations, 0U) << "of live frames";
            const auto expectPlace = [&](CGPoint inStored, CGPoint inScene, double tolerance) {
                const CGPoint place = turned(inStored, turns);
                EXPECT_NEAR(place.x, inScene.x, tolerance) << "brought upright with the picture";
                EXPECT_NEAR(place.y, inScene.y, tolerance);
            };
            expectPlace(*received->corner, codeCorner, 0.01);
            if (received->face)
                expectPlace(*received->face, faceCentre, 0.03);
            const Pixels mirrored
                = isFront ? uprightPicture(scene, 2) : scene; // a front camera's preview is a mirror
            EXPECT_EQ(uprightPicture(Pixels(*drawn.pixels), static_cast<int>(drawn.orientation)), mirrored);
            const CGPoint onScreen = CGPointApplyAffineTransform(*received->corner, drawn.layerTransform);
            const auto [origin, size] = drawn.rect;
            EXPECT_NEAR(
                (onScreen.x - origin.x) / size.width, isFront ? 1 - codeCorner.x : codeCorner.x, 0.01);
            EXPECT_NEAR((onScreen.y - origin.y) / size.height, codeCorner.y, 0.01);
            const std::string still = folder.file("still.jpg");
            writeFile(still, received->still);
            const std::string tag = runCommand("exiftool -n -s3 -Orientation '" + still + "'").output;
            expectScene(uprightPicture(decoded(received->still), std::atoi(tag.c_str())), "still");
            const std::string shown = folder.file("shown.png"); // as a player shows it
            ASSERT_EQ(
                runCommand("ffmpeg -y -v error -i '" + movie + "' -frames:v 1 '" + shown + "'").status, 0);
            expectScene(decoded(readFile(shown)), "movie");
            if (isFront == (pose % 2 == 1)) { // files do not know the side
                CaptureScreen viewer({.assets = std::make_shared<host::HostAssets>(),
                    .images = std::make_shared<host::HostImages>()});
                expectPictures(viewer, movie, received->still, turns, expectScene);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Mounts, Directions, testing::Range<std::size_t>(0, poses.size()),
    [](const auto& one) { return std::string(poses.at(one.param).name); });

// All 128: mounts, interfaces, devices and sides. The pixels of the simulated camera say where they were.
TEST(SimulatedDirections, EveryOutputShowsTheSceneUpright)
{
    Pixels stored(64, 48);
    for (int y = 0; y < stored.height; ++y) {
        for (int x = 0; x < stored.width; ++x)
            stored.at(x, y) = static_cast<std::uint32_t>(y << 8 | x);
    }
    const std::vector<CGPoint> corners{{0.1, 0.2}, {0.3, 0.2}, {0.3, 0.5}, {0.1, 0.5}};
    const CGRect face{{0.6, 0.1}, {0.2, 0.3}};
    const auto runSession = [&](const Pose& mount, const Pose& held, const Pose& device, bool isFront,
                                int turns) {
        simulated::PhoneConfiguration configuration;
        for (simulated::CameraScript& camera : configuration.cameras)
            camera.sensorOrientation = mount.sensor;
        CaptureScreen screen(std::move(configuration));
        screen.phone.setInterfaceOrientation(held.interface);
        screen.phone.setDeviceOrientation(device.device);
        screen.phone.detector().show({std::make_shared<AVMetadataFaceObject>(face, 1),
            std::make_shared<AVMetadataMachineReadableCodeObject>("org.iso.DataMatrix", corners, "hello")});
        screen.manager->setMetadataDetection(
            {MetadataObjectType::dataMatrix, MetadataObjectType::face}, screen.client);
        screen.startAndRun(isFront ? SourceType::cameraFront(true) : SourceType::cameraBack(true));
        screen.previewLayer()->connection()->setVideoOrientation(held.sensor);
        screen.manager->startVideoRecording("film.mp4");
        screen.manager->captureStillImage(OvriImageSource::photo, std::nullopt);
        screen.phone.run();
        for (int frame = 0; frame < 3; ++frame) {
            (isFront ? screen.front() : screen.back()).produceFrame();
            screen.phone.advance(50ms);
        }
        screen.manager->stopVideoRecording();
        screen.phone.advance(1s);
        screen.manager->stopCameraSession();

        const Pixels upright = uprightAfter(stored, turns);
        const auto expectUpright = [&](Pixels picture, const char* what) {
            for (std::uint32_t& word : picture.words)
                word &= 0xffff;
            EXPECT_EQ(picture, upright) << what;
        };
        ASSERT_EQ(screen.client->frames.size(), 3U);
        for (const OvriCaptureFrameUpdate& frame : screen.client->frames) {
            expectUpright(Pixels(*frame.imageBuffer()), "a live frame");
            EXPECT_EQ(frame.exifOrientation(), device.ofFrames);
        }
        ASSERT_FALSE(screen.client->codes.empty() || screen.client->faces.empty());
        EXPECT_EQ(screen.client->codes.front().corners(), corners) << "of the stored picture";
        EXPECT_EQ(screen.client->faces.front().face()->bounds(), face);
        ASSERT_EQ(screen.client->samples.size(), 1U);
        const std::vector<std::byte>& sample = screen.client->samples.front()->sample();
        const std::string still(reinterpret_cast<const char*>(sample.data()), sample.size());
        expectUpright(decoded(still, {.appliesOrientationProperty = true}), "a still");
        EXPECT_EQ(screen.phone.movies().movie("film.mp4")->settings.quarterTurns, turns);
        expectPictures(screen, "film.mp4", still, turns, expectUpright);
    };
    for (std::size_t mount = 0; mount < poses.size(); ++mount) {
        for (std::size_t held = 0; held < poses.size(); ++held) {
            for (const Pose& device : poses) {
                for (const bool isFront : {false, true}) {
                    SCOPED_TRACE(std::string(poses.at(mount).name) + ", interface " + poses.at(held).name
                        + ", device " + device.name + (isFront ? ", front" : ", back"));
                    runSession(
                        poses.at(mount), poses.at(held), device, isFront, turnsToUpright.at(mount).at(held));
                }
            }
        }
    }
}

} // namespace tamsel::tests
